# shellcheck shell=bash
# A declared task starts confined, is announced, stops, and leaves nothing.

task=com.example.Notes.task_sync

scenario() {
    start_daemon
    expect_match "registering" "$(register)" \
        'oa{sv} "/org/zarn/Orvane/TaskInvokerSessions/Sync" 2 "ActiveTasks" a(sia{sv}) 0 "AvailableTasks" a(sa{sv}) 2 "com.example.Notes.task_index"*"com.example.Notes.task_sync"*'
    expect_equal "the answer to Start" "$(start_task $task User s appuser)" "i 0"
    wait_for 20 "the task to be listed" is_listed $task
    wait_for 20 "the worker to work" worker_works

    expect_equal "the task's user" "$(unit_property $task User)" appuser
    expect_equal "the listed process" \
        "$(active_tasks)" "a(sia{sv}) 1 \"$task\" $(unit_property $task MainPID) 0"
    expect_confined
    expect_unit_file
    expect_no_file "$(policy_file $task)"

    expect_equal "the answer to Stop" "$(stop_task $task)" "i 0"
    wait_for 20 "the task to end" is_not_listed $task
    expect_no_file "$(unit_file $task)"
    wait_for 20 "the worker's process to end" no_worker_runs
}

no_worker_runs() { ! in_container pgrep -x worker >/dev/null; }
task_log() { in_container journalctl --no-pager -o cat -u "$(unit_of $task)"; }
worker_works() { task_log | grep -qx working; }

expect_confined() {
    local worker
    worker=$(in_container pgrep -u appuser -x worker | head -n 1 || true)
    [ -n "$worker" ] || fail "no worker runs as appuser"
    local outside inside
    outside=$(in_container readlink /proc/1/ns/mnt)
    inside=$(in_container readlink "/proc/$worker/ns/mnt")
    [ "$outside" != "$inside" ] || fail "the worker shares the system's mounts"
    task_log | grep -qx "uid 100000, application com.example.Notes, task sync" \
        || fail "the worker saw another identity: $(task_log)"
    task_log | grep -qx "/usr/bin/systemctl is out of reach" \
        || fail "the worker could reach programs of the system"
}

# The files are compared byte for byte, including the last line feed.
expect_unit_file() {
    local golden=../data/plans/notes-sync/unit.service
    in_container cat "$(unit_file $task)" | diff -u "$golden" - || fail "the unit file is not $golden"
}
