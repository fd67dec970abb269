settle_in() {
    systemd-tmpfiles --create orvane.conf || true
    take_effect
    # After an upgrade the old program still runs. Clients keep their sessions across the restart, and tasks
    # keep running.
    [ ! -d /run/systemd/system ] || systemctl try-restart orvane.service || true
}
