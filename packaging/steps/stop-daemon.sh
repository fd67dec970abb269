stop_daemon() {
    [ ! -d /run/systemd/system ] || systemctl stop orvane.service || true
}
