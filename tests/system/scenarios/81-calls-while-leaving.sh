# shellcheck shell=bash
# A client that calls at the moment when the daemon leaves is answered, and one that registers then keeps its
# session. This holds for 500 idle exits, after each of which the bus and systemd start the daemon again.

scenario() {
    container_install "$ORVANE_BIN/persistent-caller" /usr/local/bin/persistent-caller 755
    configure_daemon ORVANE_DAEMON_TIMEOUT=20
    in_container timeout 850 persistent-caller 500 20 sessions || fail "a call was lost"
    expect_equal "what went wrong with the unit" "$(in_container systemctl --failed --no-legend)" ""
    wait_for 20 "the daemon to leave" daemon_is inactive
    expect_equal "the result" "$(in_container systemctl show --value -p Result orvane.service)" success
    expect_equal "restarts after a failure" \
        "$(in_container systemctl show --value -p NRestarts orvane.service)" 0
}
