settle_in() {
    systemd-tmpfiles --create orvane.conf || true
    take_effect
    # After an upgrade the old program still runs. Its clients keep their sessions, and tasks are
    # services of their own.
    [ ! -d /run/systemd/system ] || systemctl try-restart orvane.service || true
}
