# shellcheck shell=bash
# The daemon ends when nobody needs it, and not before. Its tasks run on.

task=com.example.Notes.task_sync

scenario() {
    start_daemon ORVANE_DAEMON_TIMEOUT=1000
    in_container orvane-watch Sync >"$container_dir/watch.log" 2>&1 &
    wait_for 20 "the client to be registered" grep -q ^session "$container_dir/watch.log"
    start_task $task User s appuser >/dev/null
    wait_for 20 "the task to be listed" is_listed $task

    local daemon
    daemon=$(main_pid)
    wait_for_an_idle_time 1000
    bus_name_is_owned org.zarn.Orvane || fail "the daemon left its client"
    expect_equal "the daemon's process" "$(main_pid)" "$daemon"

    in_container pkill -x orvane-watch
    wait_for 20 "the daemon to leave" daemon_is inactive
    expect_equal "the daemon's exit status" \
        "$(in_container systemctl show --value -p ExecMainStatus orvane.service)" 0
    expect_equal "the result" "$(in_container systemctl show --value -p Result orvane.service)" success
    expect_equal "the task" "$(unit_property $task ActiveState)" active
}
