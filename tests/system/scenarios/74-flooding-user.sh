# shellcheck shell=bash
# A local user without any rights sends 100,000 small calls over one connection, none of which wants an
# answer, because the bus limits only calls that want one. Meanwhile the daemon serves others, and afterwards
# nothing is left of the attack.

prepare() {
    container_install "$ORVANE_BIN/unprivileged-user" /usr/local/bin/unprivileged-user 755
}

scenario() {
    in_container useradd outsider
    start_daemon
    register >/dev/null
    remember_system
    local method
    for method in getenabled setenabled register forwarded unknown; do
        withstand "a flood of $method" as outsider timeout 60 unprivileged-user flood $method 100000
    done
}
