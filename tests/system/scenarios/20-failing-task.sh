# shellcheck shell=bash
# A task whose program fails at once: the start is still accepted, the unit has failed, and the task is not
# listed as running.

task=com.example.Broken.task_fail

prepare() {
    sed -e 's/ApplicationName=Notes/ApplicationName=Broken/' \
        -e 's/X-Task sync/X-Task fail/' -e 's/worker sync/worker fail --fail/' \
        "$container_source/examples/notes/com.example.Notes.desktop" \
        >"$container_dir/root/usr/share/applications/com.example.Broken.desktop"
}

scenario() {
    start_daemon
    register >/dev/null
    expect_equal "the answer to Start" "$(start_task $task User s appuser)" "i 0"
    wait_for 20 "the unit to fail" unit_is $task failed
    expect_equal "the program's status" "$(unit_property $task ExecMainStatus)" 3
    wait_for 20 "the task not to be listed" is_not_listed $task

    # The task can be started again.
    expect_equal "the answer to the second Start" "$(start_task $task User s appuser)" "i 0"
    wait_for 20 "the unit to fail again" unit_is $task failed

    refused=$(start_task com.example.Broken.task_none User s appuser 2>&1) && fail "an unknown task started"
    expect_equal "the answer for an unknown task" "$refused" \
        "Call failed: Task not found: com.example.Broken.task_none"
}
