# shellcheck shell=bash
# Fifty tasks are started at once: each call is answered, and each task runs, is listed and stops.

count=50

prepare() {
    local number
    {
        printf '[Desktop Entry]\nType=Application\nName=Many\nExec=/usr/bin/many\n'
        printf '[X-Application]\nOrganizationName=com.example\nApplicationName=Many\n'
        for ((number = 1; number <= count; number++)); do
            printf '[X-Task t%d]\nType=Sync\nExec=/usr/libexec/notes/worker t%d\n' $number $number
        done
    } >"$container_dir/root/usr/share/applications/com.example.Many.desktop"
}

scenario() {
    start_daemon
    register >/dev/null
    for_each_task start_one
    expect_equal "answers to Start" "$(grep -cx 'i 0' "$container_dir/answers")" $count
    wait_for 90 "all tasks to be listed" listed_are $count
    for_each_task stop_one
    expect_equal "answers to Stop" "$(grep -cx 'i 0' "$container_dir/answers")" $count
    wait_for 90 "all tasks to end" listed_are 0
    expect_equal "unit files left" \
        "$(in_container find /etc/systemd/system -maxdepth 1 -name 'ov_task.*' | wc -l)" 0
}

start_one() { start_task "com.example.Many.task_t$1" User s appuser; }
stop_one() { stop_task "com.example.Many.task_t$1"; }

# Runs a command for every task at the same time, and collects the output.
for_each_task() {
    local number callers=()
    : >"$container_dir/answers"
    for ((number = 1; number <= count; number++)); do
        "$1" $number >>"$container_dir/answers" 2>&1 &
        callers+=($!)
    done
    wait "${callers[@]}"
}

listed_are() { [ "$(active_tasks | awk '{ print $2 }')" = "$1" ]; }
