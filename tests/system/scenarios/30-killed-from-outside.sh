# shellcheck shell=bash
# Somebody kills the task: the daemon notices and announces it.

task=com.example.Notes.task_sync

scenario() {
    start_daemon
    register >/dev/null
    in_container orvane-watch Sync >"$container_dir/watch.log" 2>&1 &
    start_task $task User s appuser >/dev/null
    wait_for 20 "the task to be announced" grep -qE "ActiveTasks: $task \(process [0-9]+\)" \
        "$container_dir/watch.log"
    in_container systemctl kill --kill-who=main --signal=KILL "$(unit_of $task)"
    wait_for 20 "the end to be announced" hears_last "ActiveTasks: none"
    wait_for 20 "the task not to be listed" is_not_listed $task
    # Its files stay, because nobody has stopped it.
    expect_file "$(unit_file $task)"
}
