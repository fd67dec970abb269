# shellcheck shell=bash
# orvanectl show and top describe a real task: unit, state, processes, their resources, how it ended and its
# log. Root runs them, and a user who may not read the journal.

task=com.example.Notes.task_sync

scenario() {
    start_daemon
    in_container orvanectl start $task --user appuser --wait >/dev/null
    wait_for 20 "the worker to work" worker_works
    expect_shown
    expect_taken
    expect_shown_to_others
    in_container systemctl kill --signal=KILL "$(unit_of $task)"
    wait_for 20 "the task to fail" unit_is $task failed
    expect_ended
}

worker_works() { in_container journalctl -o cat -u "$(unit_of $task)" | grep -qx working; }

# shown FILTER: filters the present output of show.
shown() { in_container orvanectl show $task --json | jq -r "$1"; }

expect_shown() {
    local entry=/usr/share/applications/com.example.Notes.desktop line
    line=$(in_container grep -n '^Exec=/usr/libexec/notes/worker sync' $entry)
    expect_equal "the unit" "$(shown .unit)" "$(unit_of $task)"
    expect_equal "the state" "$(shown .state)" running
    expect_equal "the main process" "$(shown .pid)" "$(unit_property $task MainPID)"
    expect_equal "since when" "$(date -d "$(shown .since)" +%s)" \
        "$(date -d "$(in_container systemctl show --timestamp=unix --value -p ActiveEnterTimestamp "$(unit_of $task)")" +%s)"
    expect_equal "the entry" "$(shown .file)" $entry
    expect_equal "the line of Exec" "$(shown '.keys[] | select(.key == "Exec").line')" "${line%%:*}"
    expect_equal "its last log lines" "$(shown '[.log[].text | select(. == "working")] | length')" 1
    expect_equal "a result before the end" "$(shown .result)" null
    # The worker is a child of the sandbox.
    expect_equal "the processes" "$(shown '.processes | map(.pid) | sort | join(" ")')" \
        "$(in_container systemctl status "$(unit_of $task)" | sed -n 's/^ *[│ ]*[├└]─ *\([0-9]*\) .*/\1/p' | sort -n | paste -sd' ')"
    expect_equal "the main process above all others" \
        "$(shown '[.processes[].pid] as $own | [.processes[] | select([.parent] | inside($own) | not).pid] | join(" ")')" \
        "$(unit_property $task MainPID)"
    expect_equal "the worker among them" "$(shown '[.processes[].command | select(contains("/worker"))] != []')" true
}

# There is a processor time even where systemd has none, as without the control groups for it. Then it is
# counted in ticks of 10 ms, and the example needs less, so that only the number's presence is checked.
expect_taken() {
    expect_equal "what it takes" \
        "$(shown '.memoryBytes > 100000 and .memoryBytes < 1000000000 and .cpuNanoseconds >= 0')" true
    expect_equal "what top says of it" \
        "$(in_container orvanectl top --json | jq -c '.tasks[] | [.task, .memoryBytes > 100000, .cpuNanoseconds >= 0, .cpuPercent >= 0, .processes > 1]')" \
        "[\"$task\",true,true,true,true]"
    expect_match "the memory" "$(in_container orvanectl show $task)" "*CPU time     [0-9]*s*Memory       [0-9]*M now, *"
}

expect_shown_to_others() {
    local mine theirs
    mine=$(in_container orvanectl show $task --json | jq -c 'del(.log, .noLogBecause, .cpuNanoseconds, .memoryBytes)')
    theirs=$(as appuser orvanectl show $task --json | jq -c 'del(.log, .noLogBecause, .cpuNanoseconds, .memoryBytes)')
    expect_equal "what others are shown" "$theirs" "$mine"
    expect_match "the log that they may not read" "$(as appuser orvanectl show $task)" \
        "*State *running since*Log          only root and members of the group systemd-journal may read it"
}

expect_ended() {
    expect_equal "the end" "$(shown '.state + ", " + .result + ", " + (.signal | tostring)')" "failed, signal, 9"
    expect_equal "processes of what has ended" "$(shown '.processes | length')" 0
    expect_match "the end in words" "$(in_container orvanectl show $task)" "*Last result  killed by signal 9 (Killed)*"
}
