# shellcheck shell=bash
# Three hundred tasks that run for 0 to 50 ms: orvanectl watch misses no start and no end, and prints none
# twice. orvanectl start --wait prints how each task ended.

count=300
app=com.example.Short

prepare() {
    local number
    container_install "$ORVANE_BIN/short-lived" /usr/libexec/notes/short-lived 755
    {
        printf '[Desktop Entry]\nType=Application\nName=Short\nExec=/usr/bin/short\n'
        printf '[X-Application]\nOrganizationName=com.example\nApplicationName=Short\n'
        for ((number = 1; number <= count; number++)); do
            # Every seventh fails.
            printf '[X-Task t%d]\nType=Sync\nExec=/usr/libexec/notes/short-lived %d %d\n' \
                $number $((number % 51)) $((number % 7 == 0 ? 3 : 0))
        done
    } >"$container_dir/root/usr/share/applications/$app.desktop"
    # The sandbox is replaced, because it takes longer to start than these tasks run.
    rm "$container_dir/root/usr/bin/firejail"
    # shellcheck disable=SC2016
    printf '#!/bin/sh\nwhile [ "$1" != -- ]; do shift; done\nshift\nexec "$@"\n' >"$container_dir/firejail"
    container_install "$container_dir/firejail" /usr/bin/firejail 755
}

scenario() {
    start_daemon
    watch_many
    wait_for_some
    stop_what_runs
}

watch_many() {
    in_container orvanectl watch --json >"$container_dir/events" &
    local watcher=$!
    wait_for 20 "the tool to watch" grep -q '"watching"' "$container_dir/events"
    in_container bash -c "
        for number in \$(seq $count); do
            orvanectl start $app.task_t\$number --user appuser &
            [ \$((number % 20)) -ne 0 ] || wait
        done
        wait" >"$container_dir/answers" 2>&1
    expect_equal "what starts said" "$(cat "$container_dir/answers")" ""
    wait_for 120 "all ends" ends_are $count
    in_container pkill -x orvanectl
    wait "$watcher" 2>/dev/null || true
    expect_equal "starts" "$(told started | wc -l)" $count
    expect_equal "starts of different tasks" "$(told started | sort -u | wc -l)" $count
    expect_equal "ends of different tasks" "$({ told ended; told failed; } | sort -u | wc -l)" $count
    expect_equal "ends" "$({ told ended; told failed; } | wc -l)" $count
    expect_equal "failures" "$(told failed | wc -l)" $((count / 7))
    expect_equal "their status" "$(jq -r 'select(.event == "failed").exitStatus' "$container_dir/events" | sort -u)" 3
}

# The tasks of the events of one kind.
told() { jq -r "select(.event == \"$1\").task" "$container_dir/events"; }

ends_are() { [ "$(grep -cE '"event":"(ended|failed)"' "$container_dir/events")" -ge "$1" ]; }

# --wait prints the end of each task, because each ends within the second that --wait waits.
wait_for_some() {
    local number
    for ((number = 1; number <= 7; number++)); do
        in_container orvanectl start $app.task_t$number --user appuser --wait --json
    done >"$container_dir/waits" 2>/dev/null || true
    expect_equal "what came of them" "$(jq -r .outcome "$container_dir/waits" | tr '\n' ' ')" \
        "ended ended ended ended ended ended failed "
    said=$(in_container orvanectl start com.example.Notes.task_sync --user appuser --wait)
    expect_match "what waiting for a task that runs says" "$said" "com.example.Notes.task_sync runs, process *"
    expect_match "the list of tasks" "$(in_container orvanectl tasks --running)" \
        "TASK*com.example.Notes.task_sync*Sync*system*running*"
    expect_match "what it takes" "$(in_container orvanectl top)" "TASK*com.example.Notes.task_sync*"
    said=$(in_container orvanectl start $app.task_t1 --user nobody-of-that-name --wait 2>&1) \
        && fail "a task of a user that is not there has started"
    expect_match "what waiting for a task without a user says" "$said" "*failed: exit status 217 (its user*orvanectl why $app.task_t1"
}

stop_what_runs() {
    in_container orvanectl stop com.example.Notes.task_sync
    wait_for 20 "the task to end" unit_is com.example.Notes.task_sync inactive
}
