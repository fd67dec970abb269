# shellcheck shell=bash
# Functions for the scenarios. To be sourced after container.sh.

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

# configure_daemon [NAME=VALUE...]: sets the daemon's environment variables. By default the idle time is
# longer than any scenario.
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

# start_daemon [NAME=VALUE...]: the same, then starts the daemon and waits until it has its bus name.
start_daemon() {
    configure_daemon "$@"
    in_container systemctl start orvane.service
}

# wait_for_an_idle_time MILLISECONDS: runs another daemon with this idle time, on a bus of its own and without
# clients, until it leaves. By then every daemon with the same idle time has left that was idle before.
wait_for_an_idle_time() {
    # shellcheck disable=SC2016
    in_container env ORVANE_DAEMON_TIMEOUT="$1" ORVANE_ROOTFS=/tmp/idle-daemon dbus-run-session -- \
        sh -c 'DBUS_SYSTEM_BUS_ADDRESS=$DBUS_SESSION_BUS_ADDRESS exec timeout 60 /usr/libexec/orvane' \
        || fail "a daemon without clients did not leave"
}

# hears_last LINE: whether this is the last line that orvane-watch has written to watch.log.
hears_last() { [ "$(tail -n 1 "$container_dir/watch.log")" = "$1" ]; }

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

# start_task ID HINT...: each hint is three words in busctl's form: NAME TYPE VALUE.
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

# Prints which program is the system bus: daemon or broker.
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

# Checks that attacks change nothing: a scenario calls remember_system once, and then withstand for each
# attack. What the scenario starts for its attacks has to run before remember_system.
longest_wait_during_ms=2000
# When programs had to wait for a processor meanwhile, that time is added to the limit, up to this total.
longest_wait_on_a_busy_machine_ms=8000
longest_wait_after_ms=100
memory_to_spare_kb=$((32 * 1024))

main_pid() { in_container systemctl show --value -p MainPID orvane.service; }

# For directories the time is left out, because it also changes when a file is made and removed. The records
# of applications are left out, because the daemon writes them whenever it has read the entries.
written_files() {
    in_container find /etc/systemd/system /etc/dbus-1/system.d /var/lib/am /run/orvane \
        -path /run/orvane/applications.records -prune -o \
        \( -type d -printf '%p/ %M %u\n' \) -o -printf '%p %M %u %s %T@ %l\n' | sort
}

# Root's processes in the container, without those that the test runs in it from outside, whose control group
# is outside. A name in parentheses is left out too: it is systemd itself, which is about to become a service.
root_processes() {
    in_container ps --no-headers -e -o uid=,cgroup:200=,comm= \
        | awk '$1 == 0 && $2 !~ /::\/\.\./ && $3 !~ /^\(/ { $1 = ""; print }' | sort -u
}

daemon_memory_kb() { in_container awk '$1 == "VmRSS:" { print $2 }' "/proc/$(main_pid)/status"; }
daemon_descriptors() { in_container find "/proc/$(main_pid)/fd" -type l | wc -l; }

remember_system() {
    container_install "$ORVANE_BIN/latency-probe" /usr/local/bin/latency-probe 755
    remembered_files=$(written_files)
    remembered_processes=$(root_processes)
    remembered_pid=$(main_pid)
    remembered_memory_kb=$(daemon_memory_kb)
    remembered_descriptors=$(daemon_descriptors)
}

# withstand WHAT CMD...: runs an attack while another client calls the daemon, and checks what is left of it.
withstand() {
    local what=$1
    shift
    attack_while_another_calls "$what" "$@"
    expect_system_unchanged "$what"
    expect_equal "the daemon's process after $what" "$(main_pid)" "$remembered_pid"
}

# The same for an attack that ends the daemon: afterwards another one runs, and clients have not noticed.
withstand_an_end() {
    local what=$1
    shift
    attack_while_another_calls "$what" "$@"
    [ "$(main_pid)" != "$remembered_pid" ] || fail "$what has not ended the daemon"
    expect_system_unchanged "$what"
    remembered_pid=$(main_pid)
}

# The best of three attacks counts, because other work of the machine can only make waits longer.
attack_while_another_calls() {
    local what=$1 longest allowed round median
    shift
    for round in 1 2 3; do
        attack_once "$what" "$@"
        [ "$longest" -gt "$allowed" ] || break
    done
    median=$(wait_afterwards)
    echo "$what: others waited $longest ms at most, $median ms afterwards (attack $round)"
    [ "$longest" -le "$allowed" ] || fail "others waited $longest ms during $what, $allowed ms are allowed"
    [ "${median:-99999}" -le "$longest_wait_after_ms" ] || fail "others wait $median ms after $what"
}

# The time for which programs have waited for a processor since the machine started; 0 where the kernel does
# not say.
processor_pressure_ms() {
    { awk '$1 == "some" { sub("total=", "", $5); print int($5 / 1000) }' /proc/pressure/cpu 2>/dev/null || true; } \
        | grep . || echo 0
}

# Sets the variables longest and allowed.
attack_once() {
    local what=$1 ready input output probe before
    shift
    before=$(processor_pressure_ms)
    coproc probing { in_container setpriv --reuid=nobody --clear-groups latency-probe during; }
    # Copies, because bash unsets its variables when the probe ends.
    probe=$!
    exec {output}<&"${probing[0]}"
    input=${probing[1]}
    read -r ready <&"$output" || fail "the daemon did not answer before $what"
    [ "$ready" = ready ] || fail "the probe said $ready"
    "$@"
    exec {input}>&-
    read -r longest <&"$output" || fail "the daemon did not answer during $what"
    exec {output}<&-
    wait "$probe" || true
    allowed=$((longest_wait_during_ms + $(processor_pressure_ms) - before))
    allowed=$((allowed < longest_wait_on_a_busy_machine_ms ? allowed : longest_wait_on_a_busy_machine_ms))
}

wait_afterwards() { in_container setpriv --reuid=nobody --clear-groups latency-probe after | tail -n 1; }

expect_system_unchanged() {
    expect_equal "the files after $1" "$(written_files)" "$remembered_files"
    expect_equal "processes of root that are new after $1" \
        "$(comm -13 <(echo "$remembered_processes") <(root_processes))" ""
    wait_for 20 "the daemon's memory after $1, $remembered_memory_kb KB before" memory_is_back \
        || fail "the daemon has kept $(daemon_memory_kb) KB"
    wait_for 20 "the daemon's descriptors after $1" descriptors_are_back
}

# The daemon gives memory back after it has done something, so that it is called first.
memory_is_back() {
    wait_afterwards >/dev/null
    [ "$(daemon_memory_kb)" -le $((remembered_memory_kb + memory_to_spare_kb)) ]
}
# A few more are allowed for present connections.
descriptors_are_back() { [ "$(daemon_descriptors)" -le $((remembered_descriptors + 4)) ]; }

# as USER CMD...: runs a command in the container as a user of it.
as() {
    local user=$1
    shift
    in_container setpriv --reuid="$user" --regid="$(in_container id -g "$user")" --init-groups "$@"
}
