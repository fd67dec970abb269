# shellcheck shell=bash
# A local user without any rights sends 100,000 small calls of a kind over one connection, none of which wants
# an answer: the bus limits only those that do. Others are served meanwhile, and nothing is left of it.

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
