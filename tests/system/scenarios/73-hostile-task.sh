# shellcheck shell=bash
# A confined task with one bus name tries to own others, to make calls that only others may make, to send the
# daemon signals of systemd and of the bus, and to write files where the daemon does.

attack=com.example.Hostile.task_attack
victim=com.example.Notes.task_sync
name=com.example.Hostile.Attack

prepare() {
    container_install "$ORVANE_BIN/hostile-task" /usr/libexec/hostile-task 755
    printf '[Desktop Entry]\nType=Application\nName=H\nExec=/usr/bin/h\n%s\n%s\n%s\n%s\n%s\n%s\n' \
        '[X-Application]' OrganizationName=com.example ApplicationName=Hostile '[X-Task attack]' Type=Sync \
        "Exec=/usr/libexec/hostile-task $name $victim" \
        >"$container_dir/root/usr/share/applications/com.example.Hostile.desktop"
}

scenario() {
    start_daemon
    register >/dev/null
    expect_equal "the answer to Start of another task" "$(start_task $victim User s appuser)" "i 0"
    wait_for 20 "the other task to be listed" is_listed $victim
    local before
    before=$(active_tasks)
    remember_system
    withstand "a hostile task" run_the_task
    expect_equal "the running tasks" "$(active_tasks)" "$before"
    expect_equal "what the task could do" "$(task_log | sed -n 's/^tried to //p')" "$(what_is_allowed)"
}

run_the_task() {
    # The task may run up to three times, and only its last run is looked at.
    task_begins=$(in_container journalctl --no-pager -n 0 --show-cursor | sed -n 's/^-- cursor: //p')
    expect_equal "the answer to Start" "$(start_task $attack User s appuser DBusService s $name)" "i 0"
    wait_for 20 "the task to have tried everything" task_is_done
    # The daemon may have forgotten the task already, but its files are removed in any case.
    stop_task $attack >/dev/null 2>&1 || true
}

task_log() { in_container journalctl --no-pager -o cat -u "$(unit_of $attack)" --after-cursor="$task_begins"; }
task_is_done() { task_log | grep -qx "all tried"; }

what_is_allowed() {
    local denied=org.freedesktop.DBus.Error.AccessDenied directory other call
    echo "own $name: done"
    for other in org.zarn.Orvane org.zarn.Orvane.User org.freedesktop.systemd1 com.example.Notes.Index \
        com.example.Hostile com.example.Hostile.Attack.More; do
        echo "own $other: $denied"
    done
    for call in SetEnabled Start Stop CloseSession OnRemove; do
        echo "call $call: $denied"
    done
    echo "forge signals: sent"
    for directory in /etc/systemd/system /run/systemd/system /etc/dbus-1/system.d /var/lib/am/apps /run/orvane \
        /usr/share/applications /usr/share/orvane/task-types; do
        echo "write $directory/hostile: refused"
    done
}
