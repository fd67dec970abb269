# What the owner of the system has switched on or off stays. Empty directories of the daemon go.
tidy_up() {
    [ ! -d /var/lib/am/apps ] || find /var/lib/am/apps -xdev -depth -type d -empty -delete || true
    [ ! -d /var/lib/am ] || rmdir --ignore-fail-on-non-empty /var/lib/am || true
}
