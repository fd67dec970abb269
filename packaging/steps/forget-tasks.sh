# Without the daemon nobody could stop a task any more, nor keep it from starting at boot.
forget_tasks() {
    # A call may have started the daemon between its end and the end of its files.
    stop_daemon
    # Only names that the daemon gives: any other ov_task.* is somebody else's.
    [ ! -d /run/systemd/system ] || systemctl stop 'ov_task.*.task_*.service' || true
    for unit_file in /etc/systemd/system/ov_task.*.task_*.service; do
        # The daemon writes plain files. A link of that name is the owner's, who has masked the unit.
        if [ -h "$unit_file" ] || [ ! -f "$unit_file" ]; then
            continue
        fi
        unit=${unit_file##*/}
        task=${unit#ov_task.}
        systemctl --quiet disable "$unit" || true
        # What cannot be removed must not keep the package from being removed.
        rm -f "$unit_file" "/etc/dbus-1/system.d/${task%.service}.conf" || true
    done
    rm -rf /run/orvane || true
}
