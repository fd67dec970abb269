# shellcheck shell=bash
# Runs of a task end in different ways, before and after restarts, a reboot and a power cut. orvanectl history
# lists each of them with its duration.

app=com.example.Past

prepare() {
    container_install "$ORVANE_BIN/short-lived" /usr/libexec/notes/short-lived 755
    {
        printf '[Desktop Entry]\nType=Application\nName=Past\nExec=/usr/bin/past\n'
        printf '[X-Application]\nOrganizationName=com.example\nApplicationName=Past\n'
        printf '[X-Task good]\nType=Sync\nExec=/usr/libexec/notes/short-lived 1200 0\n'
        printf '[X-Task bad]\nType=Sync\nExec=/usr/libexec/notes/short-lived 300 3\n'
        printf '[X-Task long]\nType=Sync\nExec=/usr/libexec/notes/worker long\n'
        printf '[X-Task never]\nType=Sync\nExec=/usr/libexec/notes/worker never\n'
    } >"$container_dir/root/usr/share/applications/$app.desktop"
}

scenario() {
    start_daemon
    list_ends
    list_restarts
    list_boots
    list_on_a_terminal
    list_none
    refuse_others
    read_an_image
}

history_of() { in_container orvanectl history "$app.task_$1" --json "${@:2}"; }

# told TASK: the state of each run and how it ended, a line for each.
told() { history_of "$1" | jq -r '.runs[] | .state + ": " + .reason'; }

now_us() { local now=${EPOCHREALTIME/./}; echo "${now/,/}"; }

start() {
    begun=$(now_us)
    in_container orvanectl start "$app.task_$1" --user appuser "${@:2}"
}

# expect_duration TASK LEAST: the last run lasted at least LEAST microseconds, and at most the time since its
# start.
expect_duration() {
    local lasted most
    most=$(($(now_us) - begun))
    lasted=$(history_of "$1" | jq '.runs[-1].microseconds')
    [ "$lasted" -ge "$2" ] && [ "$lasted" -le $most ] \
        || fail "the run of $1 lasted $lasted us, expected $2 to $most us"
}

# The journal receives what is sent meanwhile late.
hold_the_journal_up() {
    in_container pkill -STOP -x systemd-journal
    (
        sleep 0.6
        in_container pkill -CONT -x systemd-journal
    ) &
}

list_ends() {
    hold_the_journal_up
    start good
    wait_for 20 "the end" last_is good "exit status 0"
    expect_equal "a success" "$(told good)" "ended: exit status 0"
    expect_duration good 1200000
    start bad
    wait_for 20 "the failure" last_is bad "exit status 3"
    expect_equal "a failure" "$(told bad)" "failed: exit status 3"
    expect_duration bad 300000
    expect_equal "its status" "$(history_of bad | jq '.runs[0].exitStatus')" 3
    start long --wait >/dev/null
    wait_for 20 "the run" last_is long running
    expect_equal "a run that goes on" "$(told long)" "running: running"
    in_container systemctl kill --signal=KILL "$(unit_of $app.task_long)"
    wait_for 20 "the signal" last_is long "killed by signal 9 (Killed)"
    expect_equal "a signal" "$(told long)" "failed: killed by signal 9 (Killed)"
    # --wait has waited for about this time.
    expect_duration long 900000
    expect_equal "its signal" "$(history_of long | jq '.runs[0].signal')" 9
}

# A run continues while the daemon, systemd and the journal are restarted.
list_restarts() {
    start long --wait >/dev/null
    in_container systemctl restart orvane.service
    in_container systemctl daemon-reexec
    in_container systemctl restart systemd-journald.service
    expect_equal "a run over restarts" "$(told long | tail -n 1)" "running: running"
    in_container orvanectl stop $app.task_long
    wait_for 20 "the end" last_is long stopped
    expect_duration long 900000
    expect_equal "the number of runs" "$(told long | wc -l)" 2
}

# Only the reason is compared, because the sandbox's exit status decides whether systemd counts a stop as a
# failure.
last_reason() { history_of "$1" | jq -r '.runs[-1].reason'; }
last_is() { [ "$(last_reason "$1")" = "$2" ]; }

list_boots() {
    start long --wait >/dev/null
    container_stop
    container_boot
    start_daemon
    expect_equal "a run that a reboot ended" "$(last_reason long)" stopped
    expect_duration long 900000
    start long --wait >/dev/null
    in_container journalctl --sync
    container_cut_power
    container_boot
    start_daemon
    expect_equal "a run that a power cut ended" "$(told long | tail -n 1)" "lost: ended with the boot, unknown how"
    expect_duration long 1
    start long --wait >/dev/null
    wait_for 20 "a run after it" last_is long running
    expect_equal "the number of boots" "$(history_of long | jq '[.runs[].boot] | unique | length')" 3
    expect_equal "the number of runs" "$(history_of long | jq '[.runs[].invocation] | unique | length')" 5
    expect_equal "the last two" "$(history_of long --last 2 | jq -r '.runs[].state' | tr '\n' ' ')" "lost running "
    expect_match "the table" "$(in_container orvanectl history $app.task_long)" \
        "STARTED * LASTED  CPU TIME * PEAK  RESULT*killed by signal 9 (Killed)*stopped*stopped*ended with the boot, unknown how*running"
}

# No line wraps on a terminal of eighty columns.
list_on_a_terminal() {
    local shown
    shown=$(in_container script -qec "stty cols 80 rows 50; orvanectl history $app.task_long" /dev/null | tr -d '\r')
    expect_match "the table on a terminal" "$shown" "STARTED*ended with the boot, unknown how*running"
    expect_equal "lines that are too wide" "$(awk 'length > 80' <<<"$shown")" ""
}

list_none() {
    local said status=0
    said=$(in_container orvanectl history $app.task_never 2>&1) || fail "a task that has not run yet is an error: $said"
    expect_match "a task that has not run yet" "$said" "orvanectl: the journal has no run of $app.task_never; see: *"
    said=$(in_container orvanectl history $app.task_none 2>&1) || status=$?
    expect_equal "the status for a task that is not declared" $status 1
    expect_match "a task that is not declared" "$said" "orvanectl: no installed application declares the task $app.task_none; *"
}

# Users who may not read the journal are told so. Members of its group see what root sees.
refuse_others() {
    local said status=0
    said=$(as appuser orvanectl history $app.task_bad 2>&1) || status=$?
    expect_equal "the status for those who may not read it" $status 1
    expect_match "what they are told" "$said" "orvanectl: the journal cannot be read: *members of the group systemd-journal*"
    in_container usermod --append --groups systemd-journal nobody
    expect_equal "what members of the group see" \
        "$(as nobody orvanectl history $app.task_bad --json)" "$(history_of bad)"
}

# No run of an image is still running, whatever its last entry is.
read_an_image() {
    in_container journalctl --sync
    in_container mkdir -p /tmp/image/var/log
    in_container cp -r /var/log/journal /tmp/image/var/log
    expect_equal "the last run of an image" \
        "$(history_of long --root /tmp/image | jq -r '.runs[-1].state')" lost
    expect_equal "a failure in an image" "$(history_of bad --root /tmp/image | jq -r '.runs[].reason')" "exit status 3"
}
