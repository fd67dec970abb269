# shellcheck shell=bash
# One program starts fifty and three hundred tasks at once: no wrong answer, and a few reloads for all of
# them. Prints how long it takes, beside one reload and as many starts of the same units without the daemon.

most=300

prepare() {
    local number
    container_install "$ORVANE_BIN/start-burst" /usr/local/bin/start-burst 755
    {
        printf '[Desktop Entry]\nType=Application\nName=Many\nExec=/usr/bin/many\n'
        printf '[X-Application]\nOrganizationName=com.example\nApplicationName=Many\n'
        for ((number = 1; number <= most; number++)); do
            printf '[X-Task t%d]\nType=Sync\nExec=/usr/libexec/notes/worker t%d\n' $number $number
        done
    } >"$container_dir/root/usr/share/applications/com.example.Many.desktop"
}

scenario() {
    start_daemon
    register >/dev/null
    burst 50 4
    burst $most 6
}

# burst COUNT RELOADS: starts COUNT tasks, which must cause at most RELOADS reloads, and stops them.
burst() {
    local count=$1 reloads answers errors tasks_ms units_ms
    # systemd logs each reload.
    in_container journalctl --sync
    reloads=$(count_reloads)
    read -r answers errors tasks_ms < <(in_container start-burst tasks "$count" com.example.Many.task_t appuser)
    expect_equal "answers to Start, and errors among them" "$answers $errors" "$count 0"
    in_container journalctl --sync
    reloads=$(($(count_reloads) - reloads))
    [ "$reloads" -le "$2" ] || fail "$reloads reloads for $count starts"
    wait_for 90 "the tasks to be listed" listed_are "$count"
    copy_units
    stop_all
    wait_for 90 "the tasks to end" listed_are 0
    read -r answers errors units_ms < <(in_container start-burst units "$count" many_t)
    expect_equal "answers to StartUnit, and errors among them" "$answers $errors" "$count 0"
    in_container sh -c "systemctl stop 'many_t*' && rm /etc/systemd/system/many_t* && systemctl daemon-reload"
    echo "$count at once: $tasks_ms ms with $reloads reloads, beside $units_ms ms of one reload and $count starts"
}

count_reloads() { in_container journalctl --no-pager -o cat _PID=1 | grep -c '^Reloading' || true; }

copy_units() {
    # shellcheck disable=SC2016
    in_container sh -c 'cd /etc/systemd/system && for unit in ov_task.com.example.Many.task_t*; do
        cp "$unit" "many_${unit#ov_task.com.example.Many.task_}"; done'
}

# The package manager's hook stops all tasks of an application.
stop_all() {
    in_container busctl call org.zarn.Orvane /org/zarn/Teller/Hooks org.zarn.Teller.Hooks OnRemove s \
        com.example.Many >/dev/null
}

listed_are() { [ "$(active_tasks | awk '{ print $2 }')" = "$1" ]; }
