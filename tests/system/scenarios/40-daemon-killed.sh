# shellcheck shell=bash
# The daemon is killed while a task runs: the task runs on, and the next run of the daemon finds it.

task=com.example.Notes.task_sync

scenario() {
    start_daemon
    register >/dev/null
    start_task $task User s appuser >/dev/null
    wait_for 20 "the task to be listed" is_listed $task
    local process daemon
    process=$(unit_property $task MainPID)
    daemon=$(main_pid)

    in_container systemctl kill --kill-who=main --signal=KILL orvane.service
    # systemd soon starts another one, so that its bus name is free for a short time only.
    wait_for 20 "the daemon to be gone" daemon_is_not "$daemon"
    in_container systemctl reset-failed orvane.service
    expect_equal "the task's process" "$(unit_property $task MainPID)" "$process"

    in_container systemctl start orvane.service
    expect_match "what a client of the next daemon is told" "$(register)" \
        "*\"ActiveTasks\" a(sia{sv}) 1 \"$task\"*"
    expect_equal "the answer to Stop" "$(stop_task $task)" "i 0"
    wait_for 20 "the task to end" is_not_listed $task
}

daemon_is_not() { [ "$(main_pid)" != "$1" ]; }
