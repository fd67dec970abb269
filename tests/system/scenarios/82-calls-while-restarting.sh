# shellcheck shell=bash
# Restarts, such as that of an upgrade, lose no call and no session.

scenario() {
    container_install "$ORVANE_BIN/persistent-caller" /usr/local/bin/persistent-caller 755
    start_daemon
    in_container timeout 120 persistent-caller 60 20 sessions >"$container_dir/caller.log" 2>&1 &
    local caller=$!
    while kill -0 "$caller" 2>/dev/null; do
        in_container systemctl restart orvane.service
    done
    wait "$caller" || fail "a call was lost: $(cat "$container_dir/caller.log")"
    cat "$container_dir/caller.log"
}
