# shellcheck shell=bash
# The demo's stage without a container: a private bus and a stand-in for systemd that runs what units
# say, unconfined, as the user who calls. All files lie in a temporary folder. To be sourced.

embedded_dir=
embedded_pids=()
embedded_daemon=
embedded_status=

fixture_open() {
    embedded_dir=$(mktemp -d -t orvane-demo.XXXXXX)
    local data=$embedded_dir/usr/share notes=$container_source/examples/notes
    mkdir -p "$embedded_dir"/etc/systemd/system "$data"/applications "$data"/orvane/task-types \
        "$embedded_dir/opt/app/com.example.Notes/current"
    # The worker lies elsewhere here; the rest of the entry is the example's own.
    sed "s#/usr/libexec/notes/worker#$ORVANE_BIN/notes-worker#" "$notes/com.example.Notes.desktop" \
        >"$data/applications/com.example.Notes.desktop"
    cp "$notes/Sync.conf" "$data/orvane/task-types/"
    cp "$notes/manifest.json" "$embedded_dir/opt/app/com.example.Notes/current/"
    cat >"$embedded_dir/bus.conf" <<CONF
<!DOCTYPE busconfig PUBLIC "-//freedesktop//DTD D-BUS Bus Configuration 1.0//EN"
 "http://www.freedesktop.org/standards/dbus/1.0/busconfig.dtd">
<busconfig>
  <listen>unix:path=$embedded_dir/bus</listen>
  <policy context="default">
    <allow user="*"/>
    <allow own="*"/>
    <allow send_destination="*"/>
    <allow receive_sender="*"/>
  </policy>
</busconfig>
CONF
    dbus-daemon --config-file="$embedded_dir/bus.conf" --nofork >"$embedded_dir/bus.log" 2>&1 &
    embedded_pids+=($!)
    export DBUS_SYSTEM_BUS_ADDRESS=unix:path=$embedded_dir/bus
    export ORVANE_ROOTFS=$embedded_dir XDG_DATA_DIRS=$data XDG_DATA_HOME=$embedded_dir/home
    # Below the temporary folder there is no /proc to look callers up in.
    export ORVANE_SKIP_AUTHENTICATION=1
    wait_for 20 "the private bus" fixture_run busctl status org.freedesktop.DBus >/dev/null 2>&1
    "$ORVANE_BIN/fake-systemd" >"$embedded_dir/units.log" 2>&1 &
    embedded_pids+=($!)
    wait_for 20 "the stand-in for systemd" embedded_manager_is_up
}

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

# There is a daemon here, but nothing that a system has besides: no journal, no sandbox, no users.
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
