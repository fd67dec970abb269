# shellcheck shell=bash
# A throw-away Debian 12 system with systemd, dbus and firejail of its own: to be sourced. The image
# stays as it is; all that happens is written to an overlay in memory that goes with the container.
#
#   container_obstacle   why no container can be booted here; says nothing when one can
#   container_create     an overlay over the image, with the daemon and the example application in it
#   container_boot       boots it and waits until it is up; again after container_stop
#   in_container CMD...  runs a command in it, as root unless it says otherwise
#   container_stop       powers it off; the overlay stays
#   container_remove     ends it and leaves nothing behind: call at exit
#
# ORVANE_BIN: folder of the built programs.

container_source=$(cd "$(dirname "${BASH_SOURCE[0]}")/../.." && pwd)
container_dir=
container_pid=
container_leader=

container_obstacle() {
    local tool
    [ "$(id -u)" -eq 0 ] || { echo "root is needed to boot a container"; return; }
    for tool in mmdebstrap systemd-nspawn nsenter; do
        command -v "$tool" >/dev/null || { echo "$tool is not installed (scripts/setup)"; return; }
    done
    unshare --mount --pid --net --uts --ipc --fork true 2>/dev/null \
        || echo "this machine grants no namespaces"
}

container_create() {
    local image
    image=$("$container_source/tests/system/image/build")
    container_dir=$(mktemp -d -t orvane-container.XXXXXX)
    mount -t tmpfs -o mode=755 orvane-container "$container_dir"
    mkdir "$container_dir"/{upper,work,root}
    mount -t overlay orvane-container \
        -o "lowerdir=$image,upperdir=$container_dir/upper,workdir=$container_dir/work" \
        "$container_dir/root"
    container_install "$ORVANE_BIN/orvane" /usr/libexec/orvane 755
    container_install "$ORVANE_BIN/orvane-watch" /usr/bin/orvane-watch 755
    container_install_example
}

# container_install FILE PATH [MODE]
container_install() {
    install -D -m "${3:-644}" "$1" "$container_dir/root$2"
}

container_install_example() {
    local notes=$container_source/examples/notes
    container_install "$ORVANE_BIN/notes-worker" /usr/libexec/notes/worker 755
    container_install "$notes/com.example.Notes.desktop" \
        /usr/share/applications/com.example.Notes.desktop
    container_install "$notes/manifest.json" /opt/app/com.example.Notes/current/manifest.json
    container_install "$notes/Sync.conf" /usr/share/orvane/task-types/Sync.conf
}

container_boot() {
    local name=orvane-$$-$RANDOM
    # No registration: there need not be a system manager outside to register with.
    systemd-nspawn --quiet --register=no --keep-unit --private-network --console=pipe \
        --link-journal=no --resolv-conf=off --timezone=off --machine="$name" --boot \
        --directory="$container_dir/root" </dev/null >"$container_dir/console.log" 2>&1 &
    container_pid=$!
    wait_for 60 "the container to boot" container_is_up
}

container_is_up() {
    kill -0 "$container_pid" 2>/dev/null || { cat "$container_dir/console.log" >&2; return 2; }
    container_leader=$(pgrep -P "$container_pid" | head -n 1)
    [ -n "$container_leader" ] || return 1
    case "$(in_container systemctl is-system-running 2>/dev/null)" in
        running | degraded) return 0 ;;
    esac
    return 1
}

in_container() {
    nsenter --target "$container_leader" --all --wdns=/ \
        env -i PATH=/usr/local/sbin:/usr/local/bin:/usr/sbin:/usr/bin:/sbin:/bin LANG=C.UTF-8 \
        SYSTEMD_COLORS=0 SYSTEMD_PAGER=cat "$@"
}

container_gone() {
    ! kill -0 "$container_pid" 2>/dev/null
}

container_stop() {
    [ -n "$container_pid" ] || return 0
    if ! container_gone; then
        in_container systemctl --no-block poweroff 2>/dev/null || kill -TERM "$container_pid"
        wait_for 30 "the container to stop" container_gone || kill -KILL "$container_pid"
    fi
    wait "$container_pid" 2>/dev/null || true
    container_pid=
}

container_remove() {
    # Nothing of it is wanted any more: no orderly end.
    if [ -n "$container_pid" ]; then
        kill -KILL "$container_pid" ${container_leader:+"$container_leader"} 2>/dev/null || true
        wait "$container_pid" 2>/dev/null || true
        container_pid=
    fi
    if [ -n "$container_dir" ]; then
        wait_for 10 "the overlay to be free" umount -q "$container_dir/root" || umount -l "$container_dir/root"
        umount -l "$container_dir"
        rmdir "$container_dir"
        container_dir=
    fi
}

# wait_for SECONDS WHAT CMD...: until CMD succeeds; fails, and says what it waited for, after SECONDS.
wait_for() {
    local deadline=$((SECONDS + $1)) what=$2
    shift 2
    until "$@"; do
        if [ "$SECONDS" -ge "$deadline" ]; then
            echo "waited in vain for $what" >&2
            return 1
        fi
        sleep 0.05
    done
}
