# shellcheck shell=bash
# What the scenarios are written in: to be sourced after container.sh.

fail() {
    echo "FAILED: $*" >&2
    exit 1
}

# expect_equal WHAT ACTUAL EXPECTED
expect_equal() {
    [ "$2" = "$3" ] || fail "$1"$'\n'"expected: $3"$'\n'"actual:   $2"
}

# expect_match WHAT ACTUAL PATTERN (a shell pattern)
expect_match() {
    # shellcheck disable=SC2053
    [[ $2 == $3 ]] || fail "$1"$'\n'"expected: $3"$'\n'"actual:   $2"
}

# configure_daemon [NAME=VALUE...]: has the daemon run with these environment variables. Without one the
# idle time is long enough for any scenario.
configure_daemon() {
    local assignment
    {
        echo "[Service]"
        for assignment in ORVANE_DAEMON_TIMEOUT=600000 "$@"; do
            echo "Environment=$assignment"
        done
    } >"$container_dir/daemon.conf"
    in_container mkdir -p /run/systemd/system/orvane.service.d
    in_container tee /run/systemd/system/orvane.service.d/test.conf <"$container_dir/daemon.conf" >/dev/null
    in_container systemctl daemon-reload
}

# start_daemon [NAME=VALUE...]: starts it so and waits until it has its bus name.
start_daemon() {
    configure_daemon "$@"
    in_container systemctl start orvane.service
}

daemon_is() { [ "$(in_container systemctl is-active orvane.service)" = "$1" ]; }

invoker=/org/zarn/Orvane/TaskInvoker1
session=/org/zarn/Orvane/TaskInvokerSessions/Sync

register() {
    in_container busctl call org.zarn.Orvane "$invoker" org.zarn.Orvane.TaskInvoker1 \
        RegisterInvoker s "${1:-Sync}"
}

# session_call METHOD SIGNATURE ARGUMENT...
session_call() {
    in_container busctl call org.zarn.Orvane "$session" org.zarn.Orvane.TaskInvokerSession1 "$@"
}

# start_task ID HINT...: hints in busctl's form, each three words: NAME TYPE VALUE.
start_task() {
    local id=$1
    shift
    session_call Start 'sa{sv}a{sv}' "$id" 0 $(($# / 3)) "$@"
}

stop_task() {
    session_call Stop s "$1"
}

active_tasks() {
    in_container busctl get-property org.zarn.Orvane "$session" \
        org.zarn.Orvane.TaskInvokerSession1 ActiveTasks
}

is_listed() { active_tasks | grep -qF "\"$1\""; }
is_not_listed() { ! is_listed "$1"; }

unit_of() { echo "ov_task.$1.service"; }

# unit_property ID PROPERTY
unit_property() {
    in_container systemctl show --value -p "$2" "$(unit_of "$1")"
}

unit_is() { [ "$(unit_property "$1" ActiveState)" = "$2" ]; }

# Which program is the system bus: daemon or broker.
system_bus() { in_container systemctl show --value -p Id dbus.service | sed 's/^dbus-broker.service$/broker/; s/^dbus.service$/daemon/'; }

bus_name_is_owned() { in_container busctl status "$1" >/dev/null 2>&1; }
bus_name_is_free() { ! bus_name_is_owned "$1"; }

unit_file() { echo "/etc/systemd/system/$(unit_of "$1")"; }
policy_file() { echo "/etc/dbus-1/system.d/$1.conf"; }

expect_no_file() {
    ! in_container test -e "$1" || fail "$1 is still there"
}

expect_file() {
    in_container test -f "$1" || fail "$1 is missing"
}

# call_as USER METHOD SIGNATURE ARGUMENT...: a call on the autostart object as a user of the system.
call_as() {
    local user=$1
    shift
    in_container setpriv --reuid="$user" --regid="$(in_container id -g "$user")" --init-groups \
        busctl call org.zarn.Orvane /org/zarn/am org.zarn.am.Autostart "$@"
}

set_enabled() { call_as root SetEnabled isb "$@" >/dev/null; }

# start_peer PROGRAM ARGUMENT...: runs one of the tests' stand-ins for a peer on the container's bus.
start_peer() {
    local program=$1 name=$2
    shift 2
    container_install "$ORVANE_BIN/$program" "/usr/local/bin/$program" 755
    in_container systemd-run --quiet --unit="$program" "/usr/local/bin/$program" "$@"
    wait_for 20 "$name" bus_name_is_owned "$name"
}

autostart_file() { echo "/var/lib/am/apps/$1/$2.conf"; }
