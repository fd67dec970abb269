# shellcheck shell=bash
# A task that claims its bus name as the first thing succeeds 100 times out of 100. Each time the name is new
# to the bus, so that only the policy that has just been written can allow it.

count=100
batch=10

prepare() {
    local number
    {
        printf '[Desktop Entry]\nType=Application\nName=Claims\nExec=/usr/bin/claims\n'
        printf '[X-Application]\nOrganizationName=com.example\nApplicationName=Claims\n'
        for ((number = 1; number <= count; number++)); do
            printf '[X-Task t%d]\nType=Sync\n' $number
            printf 'Exec=/usr/libexec/notes/worker t%d --own com.example.Claims.T%d\n' $number $number
        done
    } >"$container_dir/root/usr/share/applications/com.example.Claims.desktop"
}

scenario() {
    start_daemon
    register >/dev/null
    local first number callers=()
    for ((first = 1; first <= count; first += batch)); do
        for ((number = first; number < first + batch; number++)); do
            start_task "com.example.Claims.task_t$number" User s appuser \
                DBusService s "com.example.Claims.T$number" >>"$container_dir/answers" &
            callers+=($!)
        done
        for ((number = first; number < first + batch; number++)); do
            wait_for 60 "task $number to claim its name or fail" claimed_or_failed $number
            bus_name_is_owned "com.example.Claims.T$number" || fail "task $number could not claim its name"
        done
    done
    wait "${callers[@]}"
    expect_equal "answers to Start" "$(grep -cx 'i 0' "$container_dir/answers")" $count
    echo "claimed at once: $count of $count"
}

claimed_or_failed() {
    bus_name_is_owned "com.example.Claims.T$1" || unit_is "com.example.Claims.task_t$1" failed
}
