# Stops and removes all tasks, because without the daemon they could not be stopped and would start at boot.
forget_tasks() {
    # A call may have started the daemon again before its files were removed.
    stop_daemon
    # Only names that the daemon uses; other ov_task.* units are not its own.
    [ ! -d /run/systemd/system ] || systemctl stop 'ov_task.*.task_*.service' || true
    for unit_file in /etc/systemd/system/ov_task.*.task_*.service; do
        # The daemon writes regular files. A link means that the administrator has masked the unit.
        if [ -h "$unit_file" ] || [ ! -f "$unit_file" ]; then
            continue
        fi
        unit=${unit_file##*/}
        task=${unit#ov_task.}
        systemctl --quiet disable "$unit" || true
        # A failure must not prevent the removal of the package.
        rm -f "$unit_file" "/etc/dbus-1/system.d/${task%.service}.conf" || true
    done
    rm -rf /run/orvane || true
}
