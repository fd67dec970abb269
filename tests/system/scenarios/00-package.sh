# shellcheck shell=bash
# The package on a system that has never had it: apt installs it, the bus starts the daemon, an upgrade loses
# no tasks, sessions and settings, removing stops the tasks, and purging leaves only what the owner has
# written.

# The system is without the daemon. The package with the parts of a platform is installed first.
system=clean
task=com.example.Notes.task_index
name=com.example.Notes.Index
apps=/var/lib/am/apps

prepare() {
    cp "$(container_package orvane-standalone)" "$container_dir/root/root/platform.deb"
    cp "$(container_package orvane)" "$container_dir/root/root/first.deb"
    make_upgrade "$(container_package orvane)" "$container_dir/root/root/second.deb"
    # Files that an owner may have written before.
    mkdir -p "$container_dir/root/etc/am/conf.d" "$container_dir/root/etc/systemd/system/orvane.service.d"
    printf '[com.example.Other]\nautostart=false\n' >"$container_dir/root/etc/am/conf.d/owner.conf"
    printf '[Service]\nEnvironment=ORVANE_DAEMON_TIMEOUT=600000\n' \
        >"$container_dir/root/etc/systemd/system/orvane.service.d/owner.conf"
}

scenario() {
    apt_get install --no-install-recommends /root/platform.deb
    traces >"$container_dir/before"
    apt_get install --no-install-recommends /root/first.deb

    expect_equal "what the first call is answered" \
        "$(in_container busctl call org.zarn.Orvane /org/zarn/am org.zarn.am.Autostart GetEnabled i 100000)" \
        "as 0"
    expect_equal "the daemon's unit" "$(in_container systemctl is-active orvane.service)" active
    expect_equal "what runs tasks by default" \
        "$(in_container systemctl show --value -p Environment orvane.service)" \
        "ORVANE_TASK_GROUPS=privileged ORVANE_DAEMON_TIMEOUT=600000"
    set_enabled 100000 com.example.Notes true

    upgrade_while_a_task_runs
    remove_while_a_task_runs
    install_again
    purge
}

is_listed_with_process() { [ "$(active_tasks)" = "a(sia{sv}) 1 \"$1\" $2 0" ]; }

upgrade_while_a_task_runs() {
    local worker daemon
    # It appends, because the file is emptied below.
    in_container orvane-watch Sync >>"$container_dir/watch.log" 2>&1 &
    wait_for 20 "the client to be registered" grep -q ^session "$container_dir/watch.log"
    start_task $task User s appuser DBusService s $name Autostart i 2 >/dev/null
    wait_for 20 "the task to own its name" bus_name_is_owned $name
    wait_for 20 "the task to be listed" is_listed $task
    worker=$(unit_property $task MainPID)
    daemon=$(daemon_pid)

    apt_get install --no-install-recommends /root/second.deb
    [ "$(daemon_pid)" != "$daemon" ] || fail "the old daemon still runs"
    # systemd's list of units does not contain processes, so that the new daemon has to ask for the process.
    wait_for 20 "the task's process to be known" is_listed_with_process $task "$worker"
    expect_equal "the task's process" "$(unit_property $task MainPID)" "$worker"
    bus_name_is_owned $name || fail "the task lost its name"
    expect_file "$(policy_file $task)"
    expect_equal "the settings" "$(enabled)" 'as 1 "com.example.Notes"'

    # The client still gets announcements after the upgrade, and keeps the daemon running.
    : >"$container_dir/watch.log"
    stop_task $task >/dev/null
    wait_for 20 "the client to hear of the end" hears_last "ActiveTasks: none"
    in_container pgrep -x orvane-watch >/dev/null || fail "the client has ended"
}

remove_while_a_task_runs() {
    start_task $task User s appuser DBusService s $name Autostart i 2 >/dev/null
    wait_for 20 "the task to own its name" bus_name_is_owned $name
    somebody_has_units_of_their_own

    apt_get remove orvane
    wait_for 20 "the task's name to be free" bus_name_is_free $name
    expect_equal "what the task left" "$(in_container find /etc /run -name '*task_index*')" ""
    bus_name_is_owned org.zarn.Orvane && fail "the daemon still runs"
    expect_match "calling it" "$(enabled 2>&1)" "Call failed: *not provided by any .service files"
    expect_file $apps/com.example.Notes/100000.conf
    expect_theirs_untouched
}

# Other people's units, policies and links, whose names look like those of the daemon.
theirs=(/etc/systemd/system/ov_other.service /etc/systemd/system/ov_task.backup.service
    /etc/systemd/system/multi-user.target.wants/ov_task.backup.service
    /etc/systemd/system/ov_task.com.example.Masked.task_sync.service
    /etc/dbus-1/system.d/com.example.other.conf /etc/dbus-1/system.d/backup.conf)

somebody_has_units_of_their_own() {
    in_container tee /etc/systemd/system/ov_task.backup.service <<'UNIT' >/dev/null
[Service]
ExecStart=sleep infinity
[Install]
WantedBy=multi-user.target
UNIT
    in_container tee /etc/systemd/system/ov_other.service /etc/dbus-1/system.d/com.example.other.conf \
        /etc/dbus-1/system.d/backup.conf <<<"<busconfig/>" >/dev/null
    in_container systemctl --quiet enable --now ov_task.backup.service
    in_container systemctl --quiet mask ov_task.com.example.Masked.task_sync.service
    in_container mkdir /var/lib/am/theirs
}

expect_theirs_untouched() {
    local path
    for path in "${theirs[@]}"; do
        in_container test -e "$path" || fail "$path is missing"
    done
    expect_equal "somebody else's unit" "$(in_container systemctl is-active ov_task.backup.service)" active
    in_container systemctl --quiet disable --now ov_task.backup.service
    # Disabling has removed the link.
    in_container rm -f "${theirs[@]}"
}

install_again() {
    apt_get install --no-install-recommends /root/second.deb
    expect_equal "the settings" "$(enabled)" 'as 1 "com.example.Notes"'
    expect_equal "its tasks" "$(register | grep -o '"ActiveTasks" a(sia{sv}) 0')" '"ActiveTasks" a(sia{sv}) 0'
}

purge() {
    apt_get purge orvane
    traces >"$container_dir/after"
    # A user's setting stays because the owner has chosen it, and so does what others have put there.
    expect_equal "what is left" "$(comm -13 "$container_dir/before" "$container_dir/after")" \
        "$(printf '%s\n' /var/lib/am $apps $apps/com.example.Notes $apps/com.example.Notes/100000.conf \
            /var/lib/am/theirs)"
    expect_equal "what is missing" "$(comm -23 "$container_dir/before" "$container_dir/after")" ""

    in_container rm -r $apps/com.example.Notes /var/lib/am/theirs
    apt_get install --no-install-recommends /root/first.deb
    enabled >/dev/null
    apt_get purge orvane
    traces >"$container_dir/after"
    expect_equal "what is left without settings" "$(cat "$container_dir/after")" \
        "$(cat "$container_dir/before")"
}

apt_get() {
    in_container env DEBIAN_FRONTEND=noninteractive apt-get --quiet --yes "$@" \
        >"$container_dir/apt.log" 2>&1 </dev/null || fail "apt-get $*"$'\n'"$(cat "$container_dir/apt.log")"
    # The package's scripts print no warning.
    ! grep -iE 'failed|cannot|warning|error' "$container_dir/apt.log" || fail "apt-get $*"
}

# Every path that could belong to the daemon, except in the package manager's own folders, in homes and in
# /usr/local, which is the image's.
traces() {
    in_container find / -xdev \( -path /proc -o -path /sys -o -path /var/log -o -path /var/cache \
        -o -path /var/lib/dpkg -o -path /var/lib/apt -o -path /tmp -o -path /root -o -path /usr/local -o -path /home \) -prune -o -print \
        | cat - <(in_container find /run -xdev) \
        | grep -E 'orvane|ov_task|zarn|Orvane|task_|/am(/|$)|com\.example' | sort
}

daemon_pid() { in_container systemctl show --value -p MainPID orvane.service; }

enabled() {
    in_container busctl call org.zarn.Orvane /org/zarn/am org.zarn.am.Autostart GetEnabled i 100000 || true
}

# make_upgrade PACKAGE RESULT: makes the same package with a later version.
make_upgrade() {
    dpkg-deb -R "$1" "$container_dir/upgrade"
    sed -i 's/^Version: .*/&+later/' "$container_dir/upgrade/DEBIAN/control"
    dpkg-deb --root-owner-group -b "$container_dir/upgrade" "$2" >/dev/null
    rm -r "$container_dir/upgrade"
}
