stop_daemon() {
    [ -d /run/systemd/system ] || return 0
    [ "$(systemctl show --value -p LoadState orvane.service)" = not-found ] || systemctl stop orvane.service || true
}
