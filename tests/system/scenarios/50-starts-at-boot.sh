# shellcheck shell=bash
# Autostart 2 makes the task start with the system, and Autostart 1 does not. Stop undoes it.

boots=com.example.Notes.task_sync
waits=com.example.Notes.task_index

scenario() {
    start_daemon
    register >/dev/null
    start_task $boots User s appuser Autostart i 2 >/dev/null
    start_task $waits User s appuser Autostart i 1 DBusService s com.example.Notes.Index >/dev/null
    wait_for 20 "the first task to be listed" is_listed $boots
    wait_for 20 "the first unit to be enabled" is_enabled $boots
    is_enabled $waits && fail "Autostart 1 enabled the unit"

    container_stop
    container_boot
    wait_for 20 "the task to run after the reboot" unit_is $boots active
    expect_equal "the other task" "$(unit_property $waits ActiveState)" inactive
    start_daemon
    expect_match "what a client is told after the reboot" "$(register)" \
        "*\"ActiveTasks\" a(sia{sv}) 1 \"$boots\"*"

    stop_task $boots >/dev/null
    wait_for 20 "the task to end" is_not_listed $boots
    wait_for 20 "the link to go" link_is_gone
    expect_no_file "$(unit_file $boots)"
}

is_enabled() { [ "$(in_container systemctl is-enabled "$(unit_of "$1")" 2>/dev/null)" = enabled ]; }

link_is_gone() {
    ! in_container test -L "/etc/systemd/system/multi-user.target.wants/$(unit_of $boots)"
}
