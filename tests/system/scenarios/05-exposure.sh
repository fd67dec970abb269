# shellcheck shell=bash
# The units are well-formed, and the daemon's is confined as far as its work allows: what the file says is
# what systemd holds, and what the running daemon meets.

unit=/usr/lib/systemd/system/orvane.service

prepare() {
    # Something to be kept from.
    echo secret >"$container_dir/root/root/secret"
    mkdir -p "$container_dir/root/opt/app"
    cp "$ORVANE_BIN/notes-worker" "$container_dir/root/opt/app/program"
}

scenario() {
    in_container systemd-analyze verify --man=no $unit
    in_container env XDG_RUNTIME_DIR=/run systemd-analyze verify --man=no --user /usr/lib/systemd/user/orvane-launcher.service

    # Everything that it should not see is in its environment, as far as systemd is asked.
    local names
    read -ra names <<<"$(in_container systemctl show --value -p UnsetEnvironment orvane.service)"
    start_daemon "${names[@]/%/=1}" "${unwanted[@]/%/=1}"
    local report
    # In tenths: 4.0 is the most that is allowed.
    report=$(in_container systemd-analyze security --no-pager --threshold=39 orvane.service) \
        || fail "exposed too far"$'\n'"$report"
    tail -n 1 <<<"$report"
    expect_reasons
    expect_settings
    daemon=$(in_container systemctl show --value -p MainPID orvane.service)
    expect_environment
    expect_limits
    expect_view
}

# Every setting that is not the tightest, and every limit, says why, in a comment above it or above the
# lines of its kind.
expect_reasons() {
    local setting
    for setting in CapabilityBoundingSet ProtectHome ProtectProc ReadWritePaths UMask UnsetEnvironment \
        MemoryMax MemorySwapMax TasksMax LimitNOFILE LimitCORE LogRateLimitIntervalSec NoExecPaths \
        InaccessiblePaths SystemCallFilter; do
        in_container grep -B 2 "^$setting=" $unit | grep -q '^#' || fail "nothing says why $setting= is as it is"
    done
}

# What systemd holds, whatever the lines of the file look like.
expect_settings() {
    local expected property
    while IFS='=' read -r property expected; do
        expect_equal "$property" "$(in_container systemctl show --value -p "$property" orvane.service)" \
            "$expected"
    done <<'SETTINGS'
Restart=on-failure
WatchdogUSec=1min
NotifyAccess=main
OOMPolicy=stop
MemoryMax=805306368
MemorySwapMax=0
TasksMax=16
LimitNOFILE=65536
LimitNOFILESoft=65536
LimitCORE=0
LimitCORESoft=0
LogRateLimitIntervalUSec=30s
LogRateLimitBurst=1000
NoExecPaths=/
SETTINGS
}

# What must not reach the daemon, however it was set.
unwanted=(ORVANE_SKIP_AUTHENTICATION ORVANE_COMPONENT_TESTS LD_PRELOAD LD_LIBRARY_PATH LD_AUDIT LD_DEBUG
    LD_BIND_NOT GLIBC_TUNABLES QT_PLUGIN_PATH QT_LOGGING_RULES QT_LOGGING_CONF QT_MESSAGE_PATTERN
    QT_DEBUG_PLUGINS QT_HASH_SEED QT_FATAL_WARNINGS)

expect_environment() {
    local environment name
    environment=$(in_container cat "/proc/$daemon/environ" | tr "\0" "\n")
    for name in "${unwanted[@]}"; do
        ! grep "^$name=" <<<"$environment" || fail "the daemon is told $name"
    done
    grep -qx ORVANE_TASK_GROUPS=privileged <<<"$environment" || fail "the daemon is not told whom it may obey"
}

expect_limits() {
    local status
    # Below the limit of the machine that runs the container, which the container cannot raise.
    local most
    most=$(in_container awk '/^Max open files/ { print $5 }' /proc/1/limits)
    [ "$most" -le 65536 ] || most=65536
    expect_equal "the limit of descriptors" \
        "$(in_container awk '/^Max open files/ { print $4, $5 }' "/proc/$daemon/limits")" "$most $most"
    expect_equal "the limit of core files" \
        "$(in_container awk '/^Max core file size/ { print $5, $6 }' "/proc/$daemon/limits")" "0 0"
    status=$(in_container cat "/proc/$daemon/status")
    [ "$(awk '/^Threads:/ { print $2 }' <<<"$status")" -le 4 ] || fail "more threads than a quarter of the limit"
    awk '/^VmHWM:/ { exit $2 > 64 * 1024 }' <<<"$status" || fail "it starts with more memory than a tenth of the limit"
}

# The file system as the daemon sees it.
expect_view() {
    local view=/proc/$daemon/root
    expect_equal "root's home" "$(in_container ls -A "$view/root")" ""
    expect_equal "the system's log" "$(in_container ls -A "$view/var/log")" ""
    expect_equal "the devices" "$(in_container ls -A "$view/sys")" ""
    expect_equal "the passwords" "$(in_container cat "$view/etc/shadow")" ""
    # Programs of tasks are looked at, not run.
    in_container test -r "$view/opt/app/program" || fail "what is below /opt cannot be read"
    in_container test -r "$view/home/appuser/.profile" || fail "homes cannot be read"
    ! in_container "$view/opt/app/program" 2>/dev/null || fail "a program below /opt can be run"
    ! in_container "$view/usr/bin/true" 2>/dev/null || fail "the system's programs can be run"
    in_container /usr/bin/true || fail "the test itself cannot run programs"
}
