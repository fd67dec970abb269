# shellcheck shell=bash
# A throw-away Debian 12 system with its own systemd, dbus and firejail. To be sourced. The image is never
# changed: everything is written to an overlay in memory, which is removed with the container.
#
#   container_enter SCRIPT ARGUMENT...
#                        runs the script again as root, in a mount namespace of its own; returns at once where
#                        that is not possible
#   container_obstacle   prints why no container can be booted here; prints nothing when one can
#   container_create     an overlay over the image, with both packages installed and the example
#                        application in it; with the argument "clean" without the packages
#   container_boot       boots it and waits until it is up; again after container_stop
#   in_container CMD...  runs a command in it, as root unless the command changes its user
#   container_shell      opens a shell of root in it, on this terminal
#   container_stop       powers it off; the overlay stays
#   container_cut_power  ends it at once, as a power cut does; the overlay stays
#   container_remove     ends it and leaves nothing behind: call at exit
#
# ORVANE_BUS: the program that is the system bus: daemon (dbus-daemon, the default) or broker (dbus-broker).
# ORVANE_BIN: folder of the built programs, build/release/bin when unset. The packages are in the build
# folder, one above.

container_source=$(cd "$(dirname "${BASH_SOURCE[0]}")/../.." && pwd)
: "${ORVANE_BIN:=$container_source/build/release/bin}"
: "${ORVANE_BUS:=daemon}"
container_dir=
container_name=
container_cgroups=()
container_pid=
container_nspawn=
container_leader=

container_enter() {
    local become=() keep
    [ -z "${ORVANE_CONTAINER_ENTERED:-}" ] || return 0
    # sudo must not ask for a password, because nobody can answer in a test.
    [ "$(id -u)" -eq 0 ] || become=(sudo -n)
    "${become[@]}" unshare --mount true 2>/dev/null || return 0
    keep=(ORVANE_BIN="$ORVANE_BIN" ORVANE_BUS="$ORVANE_BUS" ORVANE_IMAGE_CACHE="${ORVANE_IMAGE_CACHE:-}"
        ORVANE_REQUIRE_SYSTEM_TESTS="${ORVANE_REQUIRE_SYSTEM_TESTS:-0}"
        ORVANE_UPDATE_DOCS="${ORVANE_UPDATE_DOCS:-0}")
    exec "${become[@]}" env "${keep[@]}" ORVANE_CONTAINER_ENTERED=1 unshare --mount "$@"
}

container_obstacle() {
    local tool cgroup
    [ "$(id -u)" -eq 0 ] || { echo "booting a container takes root, or sudo without a password"; return; }
    for tool in mmdebstrap systemd-nspawn nsenter; do
        command -v "$tool" >/dev/null || { echo "$tool is not installed (scripts/setup)"; return; }
    done
    unshare --mount --pid --net --uts --ipc --fork true 2>/dev/null \
        || { echo "this machine grants no namespaces"; return; }
    container_cgroup_parents | while read -r cgroup; do
        [ -w "$cgroup" ] || { echo "the control groups of this machine cannot be written to"; break; }
    done
}

# The control groups of this process in the hierarchies that systemd uses for units: the unified one, and on
# machines with the older layout also "name=systemd".
container_cgroup_parents() {
    local controllers path root
    while IFS=: read -r _ controllers path; do
        case "$controllers" in
            "") root=$(findmnt -n -o TARGET -t cgroup2 | head -n 1) ;;
            name=systemd) root=$(findmnt -n -o TARGET -t cgroup -O name=systemd | head -n 1) ;;
            *) continue ;;
        esac
        [ -z "$root" ] || echo "$root${path%/}"
    done </proc/self/cgroup
}

container_create() {
    local image
    if [ "${1:-}" = clean ]; then
        image=$("$container_source/tests/system/image/build" "$ORVANE_BUS")
    else
        image=$("$container_source/tests/system/image/install" "$ORVANE_BUS" \
            "$(container_package orvane)" "$(container_package orvane-standalone)")
    fi
    container_name=orvane-$$-$RANDOM
    mapfile -t container_cgroups < <(container_cgroup_parents | sed "s#\$#/$container_name#")
    container_dir=$(mktemp -d -t orvane-container.XXXXXX)
    mount -t tmpfs -o mode=755 orvane-container "$container_dir"
    mkdir "$container_dir"/{upper,work,root}
    mount -t overlay orvane-container \
        -o "lowerdir=$image,upperdir=$container_dir/upper,workdir=$container_dir/work" \
        "$container_dir/root"
    container_install "$ORVANE_BIN/orvane-watch" /usr/bin/orvane-watch 755
    container_install_example
}

# container_package NAME: one of the packages under test.
container_package() {
    local packages=("$ORVANE_BIN/../$1"_*.deb)
    [ -f "${packages[0]}" ] || { echo "no package in the build folder: make package" >&2; return 1; }
    echo "${packages[0]}"
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
}

container_boot() {
    container_run_nspawn </dev/null >"$container_dir/console.log" 2>&1 &
    container_pid=$!
    if ! wait_for 60 "the container to boot" container_has_settled || container_gone; then
        echo "the container did not boot:" >&2
        cat "$container_dir/console.log" >&2
        return 1
    fi
}

# Becomes nspawn in a process namespace that ends with this script, even when the script is killed, because
# the container would outlive an nspawn that is killed.
container_run_nspawn() {
    local cgroup
    # Each container gets its own control group. Otherwise nspawn would put all containers that are started
    # from one place into the same group, and each would take the others' processes for its own.
    for cgroup in "${container_cgroups[@]}"; do
        mkdir -p "$cgroup"
        echo "$BASHPID" >"$cgroup/cgroup.procs"
    done
    # The container is not registered, because there may be no system manager outside.
    exec setpriv --pdeathsig KILL unshare --pid --fork --kill-child --mount-proc \
        systemd-nspawn --quiet --register=no --keep-unit --private-network --console=pipe \
        --link-journal=no --resolv-conf=off --timezone=off --machine="$container_name" --boot \
        --directory="$container_dir/root"
}

container_has_settled() { container_gone || container_is_up; }

container_is_up() {
    container_nspawn=$(pgrep -P "$container_pid") || return 1
    container_leader=$(pgrep -P "$container_nspawn" | head -n 1)
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

# As a unit, because the shell needs a terminal of the container's own.
container_shell() {
    echo "--- a shell in the container; \"exit\" removes it"
    in_container env TERM="${TERM:-dumb}" systemd-run --quiet --wait --collect --pty --pipe \
        --working-directory=/ bash -l || true
}

container_gone() {
    ! kill -0 "$container_pid" 2>/dev/null
}

container_stop() {
    [ -n "$container_pid" ] || return 0
    if ! container_gone; then
        in_container systemctl --no-block poweroff 2>/dev/null || kill -TERM "$container_nspawn"
        wait_for 30 "the container to stop" container_gone || kill -KILL "$container_pid"
    fi
    container_forget
}

container_cut_power() {
    kill -KILL "$container_leader"
    wait_for 10 "the container to be gone" container_gone
    container_forget
}

container_forget() {
    wait "$container_pid" 2>/dev/null || true
    container_pid=
    container_leader=
}

container_remove() {
    local cgroup
    if [ -n "$container_pid" ]; then
        # The container is not shut down in order, because nothing of it is needed any more. It ends with its
        # first process, and nspawn then removes what it has set up.
        container_gone || kill -KILL "${container_leader:-$container_pid}" 2>/dev/null || true
        wait_for 10 "nspawn to end" container_gone || kill -KILL "$container_pid"
        container_forget
    fi
    [ -n "$container_dir" ] || return 0
    for cgroup in "${container_cgroups[@]}"; do
        wait_for 10 "the control group to be empty" container_cgroup_is_removed "$cgroup" || true
    done
    wait_for 10 "the overlay to be free" umount -q "$container_dir/root" || umount -l "$container_dir/root"
    umount -l "$container_dir"
    rmdir "$container_dir"
    # nspawn leaves this folder where /run is on a disk.
    rmdir "/run/systemd/nspawn/propagate/$container_name" 2>/dev/null || true
    container_dir=
}

container_cgroup_is_removed() {
    [ ! -d "$1" ] || find "$1" -depth -type d -exec rmdir {} + 2>/dev/null
}

# wait_for SECONDS WHAT CMD...: waits until CMD succeeds. After SECONDS it fails and prints WHAT.
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
