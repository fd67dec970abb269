# shellcheck shell=bash
# With --root the tool says the same about a system from outside as it says inside the running system. It
# reads the entries, task types, permissions, programs, autostart settings and users of that system alone, and
# follows absolute links within it.

root() { echo "$container_dir/root"; }

prepare() {
    local tree
    tree=$(root)
    container_install /bin/true /opt/only-here/worker 755
    entry /usr/local/share/applications/com.example.Local.desktop Local "/opt/only-here/worker local"
    # The entry in the first folder is used.
    entry /usr/share/applications/com.example.Local.desktop Local "/opt/only-here/worker shadowed"
    # Links that would lead nowhere outside, and one that would lead to another file there.
    entry /opt/linked/linked.desktop Linked /opt/program-link
    ln -s /opt/linked/linked.desktop "$tree/usr/share/applications/com.example.Linked.desktop"
    ln -s /opt/only-here/worker "$tree/opt/program-link"
    ln -s /etc/hostname "$tree/usr/share/applications/com.example.Hostname.desktop"
    printf '[Desktop Entry]\nType=Application\nName=The image\n[X-Task a]\nType=Sync\nExec=/opt/only-here/worker\n' \
        >"$tree/etc/hostname"
    entry /usr/share/applications/com.example.Relative.desktop Relative worker
    entry /usr/share/applications/com.example.Missing.desktop Missing /usr/libexec/missing
    printf 'no entry\n' >"$tree/usr/share/applications/broken.desktop"
    mkdir -p "$tree/usr/share/orvane/more-types" "$tree/etc/am/conf.d" "$tree/etc/orvane" \
        "$tree/var/lib/am/apps/com.example.Local" "$tree/etc/sailjail/permissions" "$tree/srv/settings"
    printf '[TaskType]\nWorksInSession=false\n' >"$tree/usr/share/orvane/more-types/Linked.conf"
    ln -s /usr/share/orvane/more-types/Linked.conf "$tree/usr/share/orvane/task-types/Linked.conf"
    printf 'quiet\n' >"$tree/srv/settings/Here.permission"
    ln -s /srv/settings/Here.permission "$tree/etc/sailjail/permissions/Here.permission"
    printf '[com.example.Linked]\nautostart=true\n[com.example.Local]\nautostart=perhaps\n' \
        >"$tree/srv/settings/shipped.conf"
    ln -s /srv/settings/shipped.conf "$tree/etc/am/conf.d/shipped.conf"
    printf '[com.example.Local|100000]\nautostart=true\n' >"$tree/var/lib/am/apps/com.example.Local/100000.conf"
    printf '[Applications]\ncom.example.Local=4.1.0\ncom.*.Local=5\ncom.example.Linked=none\n' \
        >"$tree/srv/settings/versions.cfg"
    ln -s /srv/settings/versions.cfg "$tree/etc/orvane/os-version-support.cfg"
    echo "onlyhere:x:4242:4242::/home:/bin/sh" >>"$tree/etc/passwd"
    printf '[Unit]\n' >"$tree/etc/systemd/system/ov_task.com.example.Local.task_work.service"
    mkdir -p "$tree/etc/systemd/system/multi-user.target.wants"
    ln -s /etc/systemd/system/ov_task.com.example.Local.task_work.service \
        "$tree/etc/systemd/system/multi-user.target.wants/"
}

# entry PATH NAME EXEC
entry() {
    printf '[Desktop Entry]\nType=Application\nName=%s\n[X-Application]\nOrganizationName=com.example\nApplicationName=%s\n[X-Task work]\nType=Sync\nExec=%s\n' \
        "$2" "$2" "$3" >"$container_dir/entry"
    container_install "$container_dir/entry" "$1"
}

scenario() {
    local application
    start_daemon
    says_the_same tasks
    expect_match "a task behind a link" "$(cat "$container_dir/outside")" "*com.example.Linked.task_work*"
    expect_match "a task that starts at boot" "$(jq -c '.tasks[] | select(.atBoot).task' "$container_dir/outside")" \
        '"com.example.Local.task_work"'
    says_the_same types
    expect_match "a type behind a link" "$(cat "$container_dir/outside")" "*task-types/Linked.conf*"
    for application in Local Linked Relative Missing Notes; do
        says_the_same render "com.example.$application.task_work" --user onlyhere --permission Here --permission None --origin
    done
    says_the_same render com.example.Notes.task_index --user appuser --own com.example.Notes.Index --origin
    says_the_same show com.example.Linked.task_work
    for application in Local Linked Notes; do
        says_the_same autostart explain "com.example.$application" --user onlyhere
        says_the_same autostart explain "com.example.$application" --user appuser
        says_the_same autostart explain "com.example.$application" --all-users
    done
    says_the_same autostart list --user appuser
    says_the_same lint
    expect_equal "files with findings behind links" \
        "$(jq -r ".findings[].file" "$container_dir/printed" | grep -cE 'os-version-support.cfg|shipped.conf')" 3
}

# Runs the tool inside and outside. Output and exit status have to be the same, apart from the root in front
# of paths and from what only a running system can say.
says_the_same() {
    in_container orvanectl "$@" --json >"$container_dir/printed" 2>"$container_dir/errors" || echo "status $?" >>"$container_dir/errors"
    told <"$container_dir/printed" >"$container_dir/inside"
    cat "$container_dir/errors" >>"$container_dir/inside"
    env -i PATH="$PATH" LANG=C.UTF-8 "$ORVANE_BIN/orvanectl" "$@" --json --root "$(root)" >"$container_dir/printed" \
        2>"$container_dir/errors" || echo "status $?" >>"$container_dir/errors"
    sed "s#$(root)##g" "$container_dir/printed" | told >"$container_dir/outside"
    sed "s#$(root)##g" "$container_dir/errors" >>"$container_dir/outside"
    diff "$container_dir/inside" "$container_dir/outside" || fail "orvanectl $* says something else by --root"
}

# Removes what the tool gets from systemd.
told() {
    jq --sort-keys 'if .tasks then .tasks |= map(del(.state, .pid, .since)) else . end
        | if .keys then del(.unit, .state, .since, .pid, .atBoot, .log, .noLogBecause, .result, .processes) else . end'
}
