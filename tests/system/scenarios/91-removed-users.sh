# shellcheck shell=bash
# When the daemon starts it removes the settings of users who no longer exist. Without a usable list of users
# it removes none.

app=com.example.Notes

scenario() {
    start_daemon
    local user
    for user in 100000 100002; do
        set_enabled $user $app true
        set_enabled $user com.example.Other true
    done
    set_enabled -- -1 com.example.Other true
    set_enabled 100002 com.example.Other true
    set_enabled 100002 com.example.Gone true

    restart_daemon
    expect_file "$(autostart_file $app 100002)"

    start_peer fake-user-manager org.sailfishos.usermanager empty
    restart_daemon
    expect_file "$(autostart_file $app 100002)"
    in_container systemctl stop fake-user-manager

    start_peer fake-user-manager org.sailfishos.usermanager list 0 100000
    restart_daemon
    expect_file "$(autostart_file $app 100000)"
    expect_no_file "$(autostart_file $app 100002)"
    expect_file "$(autostart_file com.example.Other all-users)"
    expect_no_file "$(autostart_file com.example.Other 100002)"
    expect_no_file /var/lib/am/apps/com.example.Gone
}

restart_daemon() {
    in_container systemctl restart orvane.service
}
