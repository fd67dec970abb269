# shellcheck shell=bash
# A fixture of the demo's walkthrough without a container: a private bus, and a stand-in for systemd that
# runs the units' commands, unconfined and as the user who runs the demo. All files are in a temporary
# folder. To be sourced.

embedded_dir=
embedded_pids=()
embedded_daemon=
embedded_status=

fixture_open() {
    embedded_dir=$(mktemp -d -t orvane-demo.XXXXXX)
    local data=$embedded_dir/usr/share notes=$container_source/examples/notes
    mkdir -p "$embedded_dir"/etc/systemd/system "$data"/applications "$data"/orvane/task-types \
        "$embedded_dir/opt/app/com.example.Notes/current"
    # Here the worker has another path. The rest of the entry is the example's own.
    sed "s#/usr/libexec/notes/worker#$ORVANE_BIN/notes-worker#" "$notes/com.example.Notes.desktop" \
        >"$data/applications/com.example.Notes.desktop"
    cp "$notes/Sync.conf" "$data/orvane/task-types/"
    cp "$notes/manifest.json" "$embedded_dir/opt/app/com.example.Notes/current/"
    TMPDIR=$embedded_dir "$ORVANE_BIN/private-bus" >"$embedded_dir/address" 2>"$embedded_dir/bus.log" &
    embedded_pids+=($!)
    wait_for 20 "the private bus" embedded_bus_is_up
    DBUS_SYSTEM_BUS_ADDRESS=$(cat "$embedded_dir/address")
    export DBUS_SYSTEM_BUS_ADDRESS
    export ORVANE_ROOTFS=$embedded_dir XDG_DATA_DIRS=$data XDG_DATA_HOME=$embedded_dir/home
    # The daemon cannot check its callers, because it looks for /proc below the temporary folder.
    export ORVANE_SKIP_AUTHENTICATION=1
    "$ORVANE_BIN/fake-systemd" >"$embedded_dir/units.log" 2>&1 &
    embedded_pids+=($!)
    wait_for 20 "the stand-in for systemd" embedded_manager_is_up
}

embedded_bus_is_up() { [ -s "$embedded_dir/address" ]; }
embedded_manager_is_up() { fixture_run busctl status org.freedesktop.systemd1 >/dev/null 2>&1; }

fixture_close() {
    local pid
    for pid in $embedded_daemon "${embedded_pids[@]}"; do
        kill "$pid" 2>/dev/null || true
    done
    wait 2>/dev/null || true
    [ -z "$embedded_dir" ] || rm -rf "$embedded_dir"
}

fixture_start_daemon() {
    ORVANE_DAEMON_TIMEOUT=$1 "$ORVANE_BIN/orvane" 2>"$embedded_dir/daemon.log" &
    embedded_daemon=$!
    wait_for 20 "the daemon's name" embedded_name_is_owned
}

embedded_name_is_owned() { fixture_run busctl status org.zarn.Orvane >/dev/null 2>&1; }

# Only the daemon and its peers run here: there is no journal, no sandbox and no other user.
fixture_is_a_system() { false; }
fixture_run() {
    local program=$1
    shift
    case "$program" in
        busctl) busctl --address="$DBUS_SYSTEM_BUS_ADDRESS" "$@" ;;
        orvane-watch | orvanectl) "$ORVANE_BIN/$program" "$@" ;;
        *) "$program" "$@" ;;
    esac
}

fixture_path() { echo "$embedded_dir$1"; }

fixture_daemon_runs() {
    kill -0 "$embedded_daemon" 2>/dev/null && return 0
    if [ -z "$embedded_status" ]; then
        embedded_status=0
        wait "$embedded_daemon" || embedded_status=$?
    fi
    return 1
}

fixture_daemon_status() { echo "$embedded_status"; }
fixture_daemon_log() { cat "$embedded_dir/daemon.log"; }
fixture_task_log() { cat "$embedded_dir/units.log"; }
fixture_user() { echo nobody; }
fixture_workers() { pgrep -P "${embedded_pids[1]}" || true; }
fixture_confinement() { echo "  (the stand-in for systemd confines nothing)"; }

fixture_end_watcher() {
    pkill -P "$1" 2>/dev/null || kill "$1" 2>/dev/null || true
    wait "$1" 2>/dev/null || true
}
