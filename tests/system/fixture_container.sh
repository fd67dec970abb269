# shellcheck shell=bash
# A fixture of the demo's walkthrough: the container. To be sourced after container.sh.

fixture_open() {
    container_create
    container_boot
}

fixture_close() { container_remove; }

# Starts the daemon with an idle time in milliseconds and waits for its bus name.
fixture_start_daemon() {
    in_container systemctl set-environment ORVANE_DAEMON_TIMEOUT="$1"
    in_container systemctl start orvane.service
}

fixture_is_a_system() { true; }
fixture_run() { in_container "$@"; }
# The walkthrough's paths are those of the container.
fixture_path() { echo "$1"; }
fixture_daemon_runs() { [ "$(in_container systemctl is-active orvane.service)" = active ]; }
fixture_daemon_status() { in_container systemctl show --value -p ExecMainStatus orvane.service; }
fixture_daemon_log() { in_container journalctl --no-pager -o cat -t orvane; }
fixture_task_log() { in_container journalctl --no-pager -o cat -u "$1"; }
fixture_user() { echo appuser; }
# The processes of the example's tasks.
fixture_workers() { in_container pgrep -x worker || true; }

# Checks that a unit's task is confined.
fixture_confinement() {
    local log
    log=$(fixture_task_log "$1")
    holds "it runs as the user that the client has named" contains "$log" "uid 100000,"
    holds "it cannot reach the programs of the system" contains "$log" "/usr/bin/systemctl is out of reach"
}

# Ends the client that walkthrough_steps.sh started in the background.
fixture_end_watcher() {
    in_container pkill -x orvane-watch
    wait "$1" 2>/dev/null || true
}
