# shellcheck shell=bash
# The units are well-formed, and the daemon is confined as far as its work allows: the settings of the file
# are those of systemd, and apply to the running daemon.

unit=/usr/lib/systemd/system/orvane.service

prepare() {
    # A file that the daemon must not be able to read.
    echo secret >"$container_dir/root/root/secret"
    mkdir -p "$container_dir/root/opt/app"
    cp "$ORVANE_BIN/notes-worker" "$container_dir/root/opt/app/program"
}

scenario() {
    in_container systemd-analyze verify --man=no $unit
    in_container env XDG_RUNTIME_DIR=/run systemd-analyze verify --man=no --user /usr/lib/systemd/user/orvane-launcher.service

    # systemd is told to give the daemon every variable that the daemon must not get.
    local names
    read -ra names <<<"$(in_container systemctl show --value -p UnsetEnvironment orvane.service)"
    start_daemon "${names[@]/%/=1}" "${unwanted[@]/%/=1}"
    local report
    # The threshold is in tenths: the exposure has to be below 4.0.
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

# Every limit, and every setting that could be stricter, has a comment with the reason above it or above the
# lines of its kind.
expect_reasons() {
    local setting
    for setting in CapabilityBoundingSet ProtectHome ProtectProc ReadWritePaths UMask UnsetEnvironment \
        MemoryMax MemorySwapMax TasksMax LimitNOFILE LimitCORE LogRateLimitIntervalSec NoExecPaths \
        InaccessiblePaths SystemCallFilter; do
        in_container grep -B 2 "^$setting=" $unit | grep -q '^#' || fail "nothing says why $setting= is as it is"
    done
}

# The settings as systemd has read them.
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

# Variables that must not reach the daemon.
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
    # The limit may be lower on the machine that runs the container, and the container cannot raise it.
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
    # The daemon reads the programs of tasks but cannot run them.
    in_container test -r "$view/opt/app/program" || fail "what is below /opt cannot be read"
    in_container test -r "$view/home/appuser/.profile" || fail "homes cannot be read"
    ! in_container "$view/opt/app/program" 2>/dev/null || fail "a program below /opt can be run"
    ! in_container "$view/usr/bin/true" 2>/dev/null || fail "the system's programs can be run"
    in_container /usr/bin/true || fail "the test itself cannot run programs"
}
