# shellcheck shell=bash
# A plain Debian with both packages: a task runs, confined by Debian's firejail through the adapter. After the
# second package is removed, Debian's firejail is as it was.

system=clean
sandbox=/usr/bin/firejail
real=/usr/libexec/orvane-standalone/real/firejail
task=com.example.Notes.task_sync
permissions=/etc/sailjail/permissions

prepare() {
    cp "$(container_package orvane)" "$container_dir/root/root/orvane.deb"
    cp "$(container_package orvane-standalone)" "$container_dir/root/root/standalone.deb"
}

scenario() {
    apt_get install --no-install-recommends firejail
    debians=$(in_container sha256sum $sandbox)
    firejail_is_debians
    apt_get install --no-install-recommends /root/orvane.deb /root/standalone.deb

    expect_equal "what is missing but the platform's list of users" "$(missing)" "list of users"
    configure_daemon
    in_container orvanectl start $task --user appuser --wait
    wait_for 20 "the worker to work" worker_works
    in_container orvanectl stop $task

    apt_get install --reinstall --no-install-recommends firejail
    expect_equal "what the adapter is after firejail came again" \
        "$(in_container head -c 2 $sandbox)" "#!"
    apt_get install --reinstall --no-install-recommends /root/standalone.deb
    in_container orvanectl start $task --user appuser --wait
    in_container orvanectl stop $task

    keep_what_the_owner_wrote
    firejail_is_debians
    apt_get purge orvane-standalone
    for path in /srv/shared /usr/share/common $permissions ${real%/*} ${real%/*/*}; do
        expect_no_file "$path"
    done
}

firejail_is_debians() {
    expect_equal "the sandbox" "$(in_container sha256sum $sandbox)" "$debians"
    expect_equal "its rights" "$(in_container stat -c '%a %U %G' $sandbox)" "4755 root root"
}

missing() { { in_container orvanectl doctor --json || true; } | jq -r '.gates[] | select(.answer == "no").gate'; }
worker_works() { in_container journalctl --no-pager -o cat -u "$(unit_of $task)" | grep -qx working; }

keep_what_the_owner_wrote() {
    in_container sh -c "echo '# more' >>$permissions/BaseTask.permission"
    apt_get remove orvane-standalone
    expect_file $permissions/BaseTask.permission
}

apt_get() {
    in_container env DEBIAN_FRONTEND=noninteractive apt-get --quiet --yes "$@" \
        >"$container_dir/apt.log" 2>&1 </dev/null || fail "apt-get $*"$'\n'"$(cat "$container_dir/apt.log")"
}
