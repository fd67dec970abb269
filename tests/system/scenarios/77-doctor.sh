# shellcheck shell=bash
# orvanectl doctor finds nothing missing on a system that has everything. When one thing is broken it says
# "no" for this gate alone, and the command that it prints repairs it.

app=com.example.Notes
binds=sailjail-prepare-binds.service
sandbox=/usr/bin/firejail
# A copy of the sandbox.
adapter=/usr/local/lib/adapter
policy=/usr/share/dbus-1/system.d/org.zarn.Orvane.conf
activation=/usr/share/dbus-1/system-services/org.zarn.Orvane.service
permissions=/etc/sailjail/permissions

scenario() {
    configure_daemon
    what_the_image_lacks
    break_the_bus_side
    break_the_daemon
    break_the_sandbox
    break_sessions
    look_at_the_image
    stop_the_bus
}

# Runs the doctor. found_with ANSWER prints the gates with this answer, each in a line, and cure_of GATE
# prints the command for a gate.
examine() { in_container orvanectl doctor --json >"$container_dir/found" || true; }
found_with() { jq -r --arg answer "$1" '.gates[] | select(.answer == $answer).gate' "$container_dir/found"; }
cure_of() { jq -r --arg gate "$1" '.gates[] | select(.gate == $gate) | .cure // ""' "$container_dir/found"; }
doctor_says() {
    examine
    found_with "$1"
}
in_shell() { in_container sh -c "$1"; }

# lacks GATE [UNDO]: doctor says "no" for this gate alone, and the command that it prints repairs it. With
# UNDO it prints no command, and the shell command UNDO repairs it.
lacks() {
    local gate=$1 undo=${2:-} cure
    examine
    expect_equal "what is missing without the $gate" "$(found_with no)" "$gate"
    cure=$(cure_of "$gate")
    if [ -n "$undo" ]; then
        expect_equal "the cure of the $gate" "$cure" ""
        in_shell "$undo"
    else
        [ -n "$cure" ] || fail "there is no cure for the $gate"
        in_shell "$cure" >"$container_dir/cure" 2>&1 || fail "$cure: $(cat "$container_dir/cure")"
    fi
    expect_equal "what is missing after the cure of the $gate" "$(doctor_says no)" ""
    echo "$gate: ${cure:-by hand}"
}

reload_bus() {
    in_container busctl --quiet call org.freedesktop.DBus /org/freedesktop/DBus org.freedesktop.DBus ReloadConfig
}

# The image has no user manager, which the scenario then starts.
what_the_image_lacks() {
    expect_equal "what the image lacks" "$(doctor_says no)" "list of users"
    start_peer fake-user-manager org.sailfishos.usermanager list 0 100000
    in_container groupdel privileged
    lacks "task groups"
    expect_equal "what is not known" "$(doctor_says unknown)" ""
    expect_match "the last line" "$(in_container orvanectl doctor | tail -n 1)" "Nothing is missing."
    expect_equal "what the sandbox left in the user's home" "$(in_container find /home/appuser -mindepth 1 -type d)" ""
    expect_equal "what a user may not know" "$(as appuser orvanectl doctor --json \
        | jq -r '.gates[] | select(.answer != "yes").gate')" ""
}

break_the_bus_side() {
    in_container mv $policy /tmp/policy
    reload_bus
    expect_equal "what nobody can know without the policy" "$(doctor_says unknown)" daemon
    lacks "bus policy" "mv /tmp/policy $policy; busctl --quiet call org.freedesktop.DBus \
        /org/freedesktop/DBus org.freedesktop.DBus ReloadConfig"
    in_shell "sed 's#<allow own=#<deny own=#' $policy >/etc/dbus-1/system.d/later.conf"
    lacks "bus policy" "rm /etc/dbus-1/system.d/later.conf"
    reload_bus
    in_container mv $activation /tmp/activation
    lacks "bus activation" "mv /tmp/activation $activation; busctl --quiet call org.freedesktop.DBus \
        /org/freedesktop/DBus org.freedesktop.DBus ReloadConfig"
}

break_the_daemon() {
    in_container systemctl --quiet mask orvane.service
    lacks "daemon's unit"
    in_container systemctl stop orvane.service
    in_container chmod a-x /usr/libexec/orvane
    lacks daemon "chmod a+x /usr/libexec/orvane; systemctl reset-failed orvane.service"
    in_container chmod u-w /etc/systemd/system
    lacks "unit folder"
    in_container chown nobody /etc/systemd/system
    lacks "unit folder"
    in_container mv /etc/dbus-1/system.d /etc/dbus-1/elsewhere
    lacks "policy folder"
    in_shell "mv /etc/dbus-1/elsewhere/* /etc/dbus-1/system.d/"
    reload_bus
    in_shell "mkdir -p /run/systemd/system/orvane.service.d
        printf '[Service]\nReadWritePaths=\nReadWritePaths=/etc/systemd/system\n' >/run/systemd/system/orvane.service.d/paths.conf
        systemctl daemon-reload"
    lacks "policy folder" "rm /run/systemd/system/orvane.service.d/paths.conf; systemctl daemon-reload"
    in_container mv /usr/share/orvane/task-types/Sync.conf /tmp/
    lacks "task types" "mv /tmp/Sync.conf /usr/share/orvane/task-types/"
}

# replace_sandbox LINE...: puts a script in the sandbox's place, which runs these lines and then the real
# program.
replace_sandbox() {
    in_container rm $sandbox
    printf '%s\n' '#!/bin/sh' "$@" "exec $adapter \"\$@\"" | in_container tee $sandbox >/dev/null
    in_container chmod 755 $sandbox
}

break_the_sandbox() {
    local back="cp --remove-destination $adapter $sandbox" permission
    in_container cp $sandbox $adapter
    # shellcheck disable=SC2016
    replace_sandbox 'case "$*" in *--mkdir=*) echo "Error: invalid --mkdir command line option" >&2; exit 1 ;; esac'
    expect_match "what the sandbox says" "$(in_container orvanectl doctor || true)" \
        "*sandbox options*run as appuser, it fails: Error: invalid --mkdir command line option*"
    lacks "sandbox options" "$back"
    # shellcheck disable=SC2016
    replace_sandbox '[ "$*" != --version ] || { echo "firejail version 0.9.62"; exit; }'
    lacks "firejail version" "$back"
    in_container chmod a-x $sandbox
    lacks sandbox
    for permission in BaseTask HomelessTask; do
        in_container mv $permissions/$permission.permission /tmp/
        lacks permissions "mv /tmp/$permission.permission $permissions/"
    done
    in_container rmdir /srv/shared/empty
    lacks "empty folders"
    in_container rmdir /srv/shared/empty /usr/share/common/empty
    lacks "empty folders"
    in_container systemctl --quiet mask $binds
    lacks binds
    in_container systemctl stop $binds
    lacks binds
}

break_sessions() {
    in_container systemctl --quiet mask user@.service
    lacks "user sessions"
    in_container systemctl --quiet --global mask orvane-launcher.service
    lacks "session start"
    in_container rm /usr/lib/systemd/user/default.target.wants/orvane-launcher.service
    lacks "session start"
    in_container rm -r /usr/share/mime
    lacks "MIME database"
    in_container systemctl stop fake-user-manager
    lacks "list of users" "systemd-run --quiet --unit=again /usr/local/bin/fake-user-manager list 0 100000
        until busctl status org.sailfishos.usermanager >/dev/null 2>&1; do sleep 0.05; done"
}

# image_says FILTER: filters the doctor's output about the container's files, when it runs outside.
image_says() {
    { "$ORVANE_BIN/orvanectl" doctor --json --root "$container_dir/root" || true; } | jq -r "$1"
}

look_at_the_image() {
    expect_equal "what the image lacks" "$(image_says '.gates[] | select(.answer != "yes").gate')" ""
    expect_equal "what starts at first" "$(image_says '(.tasksAtBoot + .applicationsAtSession)[]')" ""
    in_container orvanectl start $app.task_sync --user appuser --at-boot
    in_container orvanectl autostart enable $app --all-users
    in_container orvanectl autostart enable org.zarn.Other --user appuser
    expect_equal "tasks that start at boot" "$(image_says '.tasksAtBoot[] | .task + " " + .user')" "$app.task_sync appuser"
    expect_equal "applications that start" \
        "$(image_says '.applicationsAtSession[] | .application + " " + (.user // "everybody")')" \
        "$app everybody"$'\n'"org.zarn.Other appuser"
    in_container groupdel privileged
    in_container ln -s /dev/null /etc/systemd/system/orvane.service
    expect_equal "what a broken image lacks" "$(image_says '.gates[] | select(.answer == "no").gate')" \
        "daemon's unit"
}

stop_the_bus() {
    in_container systemctl --quiet stop dbus.socket dbus.service 2>/dev/null || true
    examine
    expect_match "what is missing without the bus" "$(found_with no)" "bus"*
    in_shell "$(cure_of bus)"
    examine
    expect_equal "the bus" "$(found_with yes | head -n 1)" bus
}
