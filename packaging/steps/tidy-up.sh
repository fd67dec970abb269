# Keeps autostart settings, and removes empty directories of the daemon.
tidy_up() {
    [ ! -d /var/lib/am/apps ] || find /var/lib/am/apps -xdev -depth -type d -empty -delete || true
    [ ! -d /var/lib/am ] || rmdir --ignore-fail-on-non-empty /var/lib/am || true
}
