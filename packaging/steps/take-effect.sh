# Makes systemd and the bus read what has been installed or removed. Neither runs in an image that is
# being put together.
take_effect() {
    [ -d /run/systemd/system ] || return 0
    systemctl daemon-reload || true
    busctl --quiet call org.freedesktop.DBus /org/freedesktop/DBus org.freedesktop.DBus ReloadConfig || true
}
