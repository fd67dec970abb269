# shellcheck shell=bash
# A user of the system sends signals that only systemd, the bus and the per-user service may send: that a task
# has ended, that a client has left, that a property has changed. The daemon ignores it and passes nothing of
# it on.

task=com.example.Notes.task_sync

scenario() {
    in_container useradd outsider
    container_install "$ORVANE_BIN/forged-signals" /usr/local/bin/forged-signals 755
    start_peer fake-user-service org.zarn.Orvane.User
    start_daemon ORVANE_DAEMON_TIMEOUT=1000
    in_container orvane-watch Sync >"$container_dir/watch.log" 2>&1 &
    wait_for 20 "the client to be registered" grep -q ^session "$container_dir/watch.log"
    start_task $task User s appuser >/dev/null
    wait_for 20 "the task to be announced with its process" \
        grep -qE "^ActiveTasks: $task \(process [0-9]+\)" "$container_dir/watch.log"

    local before daemon heard
    before=$(active_tasks)
    heard=$(what_the_client_has_heard)
    daemon=$(main_pid)
    in_container busctl monitor --json=short --match="type='signal',sender='org.zarn.Orvane'" \
        >"$container_dir/monitor.log" 2>"$container_dir/monitor.err" &
    wait_for 20 "the monitor to listen" grep -q Monitoring "$container_dir/monitor.err"
    # There are 14 forged signals, each sent to everybody and to both names of the daemon.
    expect_equal "what the attack says" "$(forge)" "sent 42"

    expect_equal "the task" "$(active_tasks)" "$before"
    # The daemon stays, because it has not forgotten its client.
    wait_for_an_idle_time 1000
    bus_name_is_owned org.zarn.Orvane || fail "the daemon left its client"
    expect_equal "the daemon's process" "$(main_pid)" "$daemon"
    expect_equal "what the client has heard" "$(what_the_client_has_heard)" "$heard"
    expect_nothing_was_passed_on
}

# The same list may be announced twice.
what_the_client_has_heard() { uniq "$container_dir/watch.log"; }

forge() {
    in_container setpriv --reuid=outsider --regid=outsider --init-groups \
        forged-signals "$(in_container busctl call org.freedesktop.systemd1 /org/freedesktop/systemd1 \
            org.freedesktop.systemd1.Manager GetUnit s "$(unit_of $task)" | cut -d '"' -f 2)" "$(client_name)"
}

client_name() {
    in_container busctl list --unique --no-legend | awk '$3 == "orvane-watch" { print $1 }'
}

# The first signal of the daemon after the attack is about the next thing that really happens.
expect_nothing_was_passed_on() {
    stop_task $task >/dev/null
    wait_for 20 "the client to hear of the end" hears_last "ActiveTasks: none"
    wait_for 20 "the monitor to hear of it" grep -q ActiveTasks "$container_dir/monitor.log"
    ! grep -v ActiveTasks "$container_dir/monitor.log" || fail "the daemon has passed on what was forged"
}
