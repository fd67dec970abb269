# What the owner of the system has switched on or off stays. Empty directories go.
tidy_up() {
    [ ! -d /var/lib/am ] || find /var/lib/am -depth -type d -empty -delete || true
}
