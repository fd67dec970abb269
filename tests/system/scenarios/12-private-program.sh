# shellcheck shell=bash
# A program that its user alone may read and execute is as good as any other, though the daemon's own
# rights are confined.

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
