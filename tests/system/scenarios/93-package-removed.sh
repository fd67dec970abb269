# shellcheck shell=bash
# Removing an application's package removes its units, policies, autostart files and processes, and nothing of
# another application.

sync=com.example.Notes.task_sync
index=com.example.Notes.task_index
other=com.example.Other.task_sync

prepare() {
    local package=$container_dir/root/root/package notes=$container_source/examples/notes
    sed 's/ApplicationName=Notes/ApplicationName=Other/' "$notes/com.example.Notes.desktop" \
        >"$container_dir/root/usr/share/applications/com.example.Other.desktop"
    # Here the example is a package. The worker stays, because the other application uses it.
    rm "$container_dir/root/usr/share/applications/com.example.Notes.desktop"
    mkdir -p "$package/DEBIAN" "$package/usr/share/applications"
    cp "$notes/com.example.Notes.desktop" "$package/usr/share/applications/"
    cat >"$package/DEBIAN/control" <<'CONTROL'
Package: example-notes
Version: 1
Architecture: all
Maintainer: Nobody <nobody@example.com>
Description: An application with background tasks
CONTROL
    cat >"$package/DEBIAN/postrm" <<'POSTRM'
#!/bin/sh
set -e
[ "$1" != remove ] || busctl call org.zarn.Orvane /org/zarn/Teller/Hooks org.zarn.Teller.Hooks \
    OnRemove s com.example.Notes
POSTRM
    chmod 755 "$package/DEBIAN/postrm"
}

scenario() {
    start_daemon
    in_container dpkg-deb --build --root-owner-group /root/package /root/notes.deb >/dev/null
    in_container dpkg -i /root/notes.deb >/dev/null
    wait_for 20 "the daemon to notice the application" is_available
    start_task $sync User s appuser Autostart i 2 >/dev/null
    start_task $index User s appuser DBusService s com.example.Notes.Index >/dev/null
    start_task $other User s appuser >/dev/null
    set_enabled 100000 com.example.Notes true
    set_enabled -- -1 com.example.Other true
    wait_for 20 "the tasks to run" are_listed $sync $index $other

    in_container dpkg -r example-notes >/dev/null
    wait_for 20 "the tasks to end" is_not_listed $sync
    wait_for 20 "the other task to end" is_not_listed $index
    local task
    for task in $sync $index; do
        expect_no_file "$(unit_file $task)"
        expect_no_file "$(policy_file $task)"
        wait_for 20 "the link of $task to go" link_is_gone $task
        wait_for 20 "the processes of $task to end" has_no_process $task
    done
    expect_no_file /var/lib/am/apps/com.example.Notes

    is_listed $other || fail "the other application's task ended"
    expect_file "$(unit_file $other)"
    expect_file "$(autostart_file com.example.Other all-users)"
}

is_available() { register | grep -qF "\"$sync\""; }

are_listed() {
    local task
    for task in "$@"; do
        is_listed "$task" || return 1
    done
}

link_is_gone() { ! in_container test -L "/etc/systemd/system/multi-user.target.wants/$(unit_of "$1")"; }
has_no_process() { [ "$(unit_property "$1" MainPID)" = 0 ] && [ -z "$(unit_property "$1" ControlGroup)" ]; }
