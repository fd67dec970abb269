# shellcheck shell=bash
# The per-user service sends everything that the bus lets through: signals with other arguments, answers that
# cannot be forwarded, paths of the daemon's own objects, or nothing. Callers get an answer where there can be
# one, and the daemon serves the others.

control=/org/zarn/Orvane/Control1
limit=$((32 * 1024 * 1024))

prepare() {
    container_install "$ORVANE_BIN/unprivileged-user" /usr/local/bin/unprivileged-user 755
    container_install "$ORVANE_BIN/hostile-user-service" /usr/local/bin/hostile-user-service 755
    # The service belongs to a user, as on a device. The image's policy allows only root's.
    cat >"$container_dir/root/etc/dbus-1/system.d/user-service.conf" <<'END'
<busconfig>
  <policy user="appuser">
    <allow own="org.zarn.Orvane.User"/>
  </policy>
</busconfig>
END
}

scenario() {
    in_container useradd outsider
    # The bus also closes the service's connection when the service sends too much.
    in_container systemd-run --quiet --uid=appuser --unit=hostile-user-service --property=Restart=always \
        --property=RestartSec=0 --property=StartLimitIntervalSec=0 /usr/local/bin/hostile-user-service
    wait_for 20 "the user service" bus_name_is_owned org.zarn.Orvane.User
    start_daemon
    register >/dev/null
    remember_system

    withstand "changes of other types" changes_of_other_types
    withstand "huge changes" huge_changes
    withstand "a flood of changes" call Flood i 20000
    withstand "answers that cannot be passed on" odd_answers
    withstand "huge answers" huge_answers
    wait_for 20 "the user service" bus_name_is_owned org.zarn.Orvane.User
    withstand "paths of the daemon's own objects" own_paths
    withstand "odd paths" odd_paths
    withstand "a thousand paths" thousand_paths
    withstand "no answers" no_answers
}

call() {
    as outsider timeout 70 busctl --timeout=60 call org.zarn.Orvane $control org.zarn.Orvane.Control1 "$@" 2>&1
}

changes_of_other_types() {
    local kind
    for kind in nothing numbers structure "other map" "variant for a map" "array of numbers" \
        "one more argument" "empty signature" descriptor genuine; do
        call Emit s "$kind"
    done
}

huge_changes() {
    for _ in 1 2 3 4; do
        call Emit s huge
    done
}

odd_answers() {
    expect_match "the answer with an empty signature" "$(call EmptySignature || true)" \
        "Call failed: The answer holds a value that cannot be sent"
    for _ in {1..30}; do
        expect_match "the answer with nested descriptors" "$(call NestedDescriptor || true)" \
            "Call failed: The answer holds a value that cannot be sent"
    done
}

# Sizes around the one at which the answer to the client becomes larger than the answer to the daemon.
huge_answers() {
    local less
    for less in 400 200 160 128 112 96 80 64 48; do
        call Huge i $((limit - less)) >/dev/null || true
    done
}

# register_at PATH: makes the service answer with this path.
register_at() {
    as outsider timeout 20 unprivileged-user types "any=$1"
}

own_paths() {
    local path
    for path in /org/zarn/am /org/zarn/Teller/Hooks /org/zarn/Orvane/SystemControl1 $control $invoker \
        "$session"; do
        register_at "$path" >/dev/null
        # Removes the forwarding object if there is one.
        as outsider busctl call org.zarn.Orvane "$path" org.zarn.Orvane.TaskInvokerSession1 CloseSession \
            >/dev/null 2>&1 || true
    done
    # This is the daemon's own refusal, because the service would send an empty answer.
    expect_match "an outsider's Stop" \
        "$(as outsider busctl call org.zarn.Orvane $session org.zarn.Orvane.TaskInvokerSession1 Stop s a.b.task_c \
            2>&1 || true)" "*[Dd]enied*"
    expect_match "the active tasks" "$(active_tasks)" 'a(sia{sv}) *'
    call_as outsider GetEnabled i 100000 >/dev/null
}

odd_paths() {
    register_at / >/dev/null
    register_at "/$(printf 'x%.0s' {1..100000})" >/dev/null
    # A path that no session has yet, and one that no session can have.
    register_at ${session%Sync}Other >/dev/null
    register_at ${session%/Sync} >/dev/null
}

thousand_paths() {
    for _ in 1 2 3 4; do
        expect_equal "paths of one connection" "$(as outsider timeout 60 unprivileged-user paths 300)" 256
    done
}

no_answers() {
    as outsider timeout 20 unprivileged-user slow 100
    as nobody timeout 20 busctl call org.zarn.Orvane $control org.zarn.Orvane.Control1 Pid >/dev/null || fail "nobody gets through any more"
}
