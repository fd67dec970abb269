# shellcheck shell=bash
# A task may run a program that only its user may read and execute, though the daemon itself has few rights.

task=com.example.Notes.task_sync
program=/usr/libexec/notes/worker

scenario() {
    in_container chown appuser: $program
    in_container chmod 700 $program
    start_daemon
    register >/dev/null
    expect_equal "the answer to Start" "$(start_task $task User s appuser)" "i 0"
    wait_for 20 "the task to be listed" is_listed $task

    in_container chmod 600 $program
    expect_equal "the answer for a program that nobody may execute" \
        "$(start_task $task User s appuser 2>&1 || true)" "Call failed: $program is not executable"
}
