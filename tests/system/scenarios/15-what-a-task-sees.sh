# shellcheck shell=bash
# The folders in the user's home that a task can see: its own ones, with a permission also those that the
# permission allows, and none for a homeless task.

task=com.example.Notes.task_sync
home=/home/appuser

prepare() {
    mkdir "$container_dir/root$home/Documents"
    touch "$container_dir/root$home/Documents/letter" "$container_dir/root$home/secret"
    chown -R 100000:100000 "$container_dir/root$home"
}

scenario() {
    start_daemon
    register >/dev/null

    run_task 1 User s appuser
    expect_seen .cache/com.example/Notes
    expect_unseen secret
    expect_unseen Documents/letter
    end_task

    run_task 2 User s appuser Permissions as 1 Documents
    expect_seen .config/com.example/Notes
    expect_seen Documents/letter
    expect_unseen secret
    end_task

    run_task 2 User s appuser Homeless b true
    expect_seen .
    expect_unseen .cache/com.example
    expect_unseen secret
    end_task
    in_container test -d $home/.cache/com.example/Notes || fail "the task's folder is not the user's"
}

# run_task NUMBER-OF-HINTS HINT...: starts the task, waits until it works, sets worker to its process
run_task() {
    expect_equal "the answer to Start" "$(session_call Start 'sa{sv}a{sv}' $task 0 "$@")" "i 0"
    wait_for 20 "the worker's process" worker_runs
    wait_for 20 "the task to be listed" is_listed $task
}

end_task() {
    expect_equal "the answer to Stop" "$(stop_task $task)" "i 0"
    wait_for 20 "the task to end" is_not_listed $task
    wait_for 20 "the worker's process to end" worker_is_gone
}

worker_runs() { worker=$(in_container pgrep -u appuser -x worker); }
worker_is_gone() { ! worker_runs; }
sees() { in_container test -e "/proc/$worker/root$home/$1"; }
expect_seen() { sees "$1" || fail "the task does not see $1"; }
expect_unseen() { ! sees "$1" || fail "the task sees $1"; }
