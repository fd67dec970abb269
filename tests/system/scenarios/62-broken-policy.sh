# shellcheck shell=bash
# Another program's policy file is broken. dbus-daemon ignores the file and reads the others. dbus-broker
# keeps the rules that it has, refuses new ones and, once stopped, does not start again: tasks still run, but
# without their names, and the daemon logs why. Once the file is correct, everything works again.

task=com.example.Notes.task_index
name=com.example.Notes.Index
broken=/etc/dbus-1/system.d/broken.conf
complaint="*The bus did not reload its configuration: *"

scenario() {
    start_daemon
    register >/dev/null
    break_policy
    expect_equal "the answer to Start" "$(start_task $task User s appuser DBusService s $name)" "i 0"
    "expect_on_$ORVANE_BUS"
    expect_equal "the answer to Stop" "$(stop_task $task)" "i 0"
    wait_for 20 "the task to end" is_not_listed $task

    # A well-formed file without any rule is not broken.
    in_container tee $broken >/dev/null <<<'<busconfig><policy user="nowhere"><allow own="*"/></policy></busconfig>'
    expect_equal "the answer to Start" "$(start_task $task User s appuser DBusService s $name)" "i 0"
    wait_for 20 "the name to be owned" bus_name_is_owned $name
    ! claims_a_name nobody || fail "a rule for nobody holds for everybody"

    break_policy
    "expect_restart_on_$ORVANE_BUS"
}

claims_a_name() {
    in_container setpriv --reuid="$1" --clear-groups timeout 20 /usr/libexec/notes/worker claim \
        --own org.example.Anybody --fail | grep -q "^owns"
}

break_policy() { in_container tee $broken <<<"<busconfig><policy" >/dev/null; }

daemon_log() { in_container journalctl --no-pager -o cat -t orvane; }
task_log() { in_container journalctl --no-pager -o cat -u "$(unit_of $task)"; }
is_told() { task_log | grep -q "^may not own $name"; }

expect_on_daemon() {
    wait_for 20 "the name to be owned" bus_name_is_owned $name
    # shellcheck disable=SC2053
    [[ $(daemon_log) != $complaint ]] || fail "the daemon complains of a bus that has reloaded"
}

expect_on_broker() {
    wait_for 20 "the task to be refused its name" is_told
    expect_match "the daemon's log" "$(daemon_log)" "$complaint"
}

# systemctl works without the bus.
expect_restart_on_daemon() {
    in_container systemctl restart dbus.service || fail "dbus-daemon did not start again"
    wait_for 20 "systemd to be on the bus again" bus_name_is_owned org.freedesktop.systemd1
}

expect_restart_on_broker() {
    ! in_container systemctl restart dbus-broker.service 2>/dev/null || fail "dbus-broker has started again"
    in_container rm $broken
    in_container systemctl reset-failed dbus-broker.service dbus.socket
    in_container systemctl start dbus-broker.service || fail "dbus-broker does not start without the broken file"
    wait_for 20 "systemd to be on the bus again" bus_name_is_owned org.freedesktop.systemd1
}
