# shellcheck shell=bash
# The units are well-formed, and the daemon's is confined as far as its work allows.

scenario() {
    in_container systemd-analyze verify --man=no /usr/lib/systemd/system/orvane.service
    in_container env XDG_RUNTIME_DIR=/run systemd-analyze verify --man=no --user /usr/lib/systemd/user/orvane-launcher.service

    start_daemon
    local report
    # In tenths: 4.0 is the most that is allowed.
    report=$(in_container systemd-analyze security --no-pager --threshold=39 orvane.service) \
        || fail "exposed too far"$'\n'"$report"
    tail -n 1 <<<"$report"
    expect_reasons
}

# Every setting that is not the tightest says why, in a comment right above it.
expect_reasons() {
    local setting
    for setting in CapabilityBoundingSet ProtectHome ProtectProc ReadWritePaths UMask; do
        in_container grep -B 1 "^$setting=" /usr/lib/systemd/system/orvane.service | grep -q '^#' \
            || in_container grep -B 2 "^$setting=" /usr/lib/systemd/system/orvane.service | grep -q '^#' \
            || fail "nothing says why $setting= is as it is"
    done
}
