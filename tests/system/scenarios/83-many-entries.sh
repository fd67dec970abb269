# shellcheck shell=bash
# A thousand applications with a task each, and some dozens of running tasks: the tool's list takes about as
# long as systemctl takes for the same facts (units, processes, times, what starts at boot). systemctl's list
# of units alone, which reads no desktop entries, is shown beside it.

count=1000
running=36
runs=15
most_percent=150

prepare() {
    local number
    for ((number = 1; number <= count; number++)); do
        printf '[Desktop Entry]\nType=Application\nName=Many\nExec=/usr/bin/many\n
[X-Application]\nOrganizationName=com.example\nApplicationName=Many%d\n
[X-Task work]\nType=Sync\nExec=/usr/libexec/notes/worker t%d\n' $number $number \
            >"$container_dir/root/usr/share/applications/com.example.Many$number.desktop"
    done
    install_measure
}

install_measure() {
    cat >"$container_dir/same-facts" <<'SCRIPT'
#!/bin/sh -e
systemctl list-units
systemctl show --property=Id,MainPID,StateChangeTimestamp 'ov_task.*'
systemctl list-unit-files 'ov_task.*'
SCRIPT
    # Runs the commands alternately and prints the times of each in microseconds, a line for each command.
    cat >"$container_dir/measure" <<'SCRIPT'
#!/bin/bash
runs=$1
shift
times=()
for ((run = 0; run < runs; run++)); do
    for ((at = 1; at <= $#; at++)); do
        start=${EPOCHREALTIME/./}
        ${!at} >/run/measured 2>&1 || exit 1
        times[at]+=" $((${EPOCHREALTIME/./} - start))"
    done
done
printf '%s\n' "${times[@]}"
SCRIPT
    container_install "$container_dir/same-facts" /usr/local/bin/same-facts 755
    container_install "$container_dir/measure" /usr/local/bin/measure 755
}

scenario() {
    local number try tool facts
    start_daemon
    for ((number = 1; number <= running; number++)); do
        in_container orvanectl start "com.example.Many$number.task_work" --user appuser &
    done
    wait_for 60 "tasks to run" running_are $running
    expect_equal "tasks" "$(in_container orvanectl tasks --json | jq '[.tasks[].task | select(contains("Many"))] | length')" \
        $count
    # The best of three tries counts, because other work of the machine can only make times longer.
    for try in 1 2 3; do
        measure
        [ $((tool * 100)) -gt $((facts * most_percent)) ] || return 0
    done
    fail "orvanectl tasks takes $((tool * 100 / facts)) % of what systemctl takes, $most_percent are allowed (try $try)"
}

running_are() { [ "$(in_container orvanectl tasks --running --json | jq '.tasks | length')" -eq "$1" ]; }

# Sets tool and facts to the shortest run of each.
measure() {
    local times
    mapfile -t times < <(in_container measure $runs "orvanectl tasks" same-facts "systemctl list-units")
    tool=$(shortest "${times[0]}")
    facts=$(shortest "${times[1]}")
    echo "microseconds, shortest and median: orvanectl tasks $tool, $(median "${times[0]}");" \
        "systemctl, the same facts $facts, $(median "${times[1]}");" \
        "systemctl list-units alone $(shortest "${times[2]}"), $(median "${times[2]}")"
}

# These take numbers separated by blanks.
sorted() { xargs -n 1 <<<"$1" | sort -n; }
shortest() { sorted "$1" | head -n 1; }
median() { sorted "$1" | sed -n "$(((runs + 1) / 2))p"; }
