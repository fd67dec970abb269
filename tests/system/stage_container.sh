# shellcheck shell=bash
# The demo's stage: the container. To be sourced after container.sh.

stage_open() {
    container_create
    container_boot
}

stage_close() { container_remove; }

# Starts the daemon with an idle time in milliseconds and waits for its bus name.
stage_start_daemon() {
    in_container systemctl set-environment ORVANE_DAEMON_TIMEOUT="$1"
    in_container systemctl start orvane.service
}

stage_is_a_system() { true; }
stage_run() { in_container "$@"; }
# Paths of the story are the container's own.
stage_path() { echo "$1"; }
stage_daemon_runs() { [ "$(in_container systemctl is-active orvane.service)" = active ]; }
stage_daemon_status() { in_container systemctl show --value -p ExecMainStatus orvane.service; }
stage_daemon_log() { in_container journalctl --no-pager -o cat -t orvane; }
stage_task_log() { in_container journalctl --no-pager -o cat -u "$1"; }
stage_user() { echo appuser; }
# The processes of the example's tasks.
stage_workers() { in_container pgrep -x worker || true; }

# Says whether a unit's task is confined.
stage_confinement() {
    local log
    log=$(stage_task_log "$1")
    holds "as the user that the client asked for" contains "$log" "uid 100000,"
    holds "and it cannot reach the system's programs" contains "$log" "/usr/bin/systemctl is out of reach"
}

# Ends the client that story.sh started in the background.
stage_end_watcher() {
    in_container pkill -x orvane-watch
    wait "$1" 2>/dev/null || true
}
