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

    # The daemon asks for the list and does not wait for it.
    restart_daemon
    wait_for 20 "the second complaint" has_complained 2
    expect_file "$(autostart_file $app 100002)"

    start_peer fake-user-manager org.sailfishos.usermanager empty
    restart_daemon
    wait_for 20 "the third complaint" has_complained 3
    expect_file "$(autostart_file $app 100002)"
    in_container systemctl stop fake-user-manager

    start_peer fake-user-manager org.sailfishos.usermanager list 0 100000
    restart_daemon
    wait_for 20 "a setting to go" is_gone "$(autostart_file $app 100002)"
    wait_for 20 "another setting to go" is_gone "$(autostart_file com.example.Other 100002)"
    wait_for 20 "the folder of an application to go" is_gone /var/lib/am/apps/com.example.Gone
    expect_file "$(autostart_file $app 100000)"
    expect_file "$(autostart_file com.example.Other all-users)"
}

is_gone() { ! in_container test -e "$1"; }

# has_complained TIMES: how often there was no usable list.
has_complained() {
    [ "$(in_container journalctl --no-pager -o cat -t orvane | grep -c "couldn't get available users list:")" -ge "$1" ]
}

restart_daemon() {
    in_container systemctl restart orvane.service
}
