# shellcheck shell=bash
# Root and members of the group "privileged", however they belong to it, may switch autostart. Everybody may
# read.

app=com.example.Notes
interface=org.freedesktop.DBus.Error

scenario() {
    in_container useradd --gid privileged primary
    in_container useradd --groups privileged member
    in_container useradd outsider
    start_daemon

    local user
    for user in root primary member; do
        expect_equal "the answer to $user" "$(call_as $user SetEnabled isb 100000 $app true)" ""
        expect_equal "what $user reads" "$(call_as $user GetEnabled i 100000)" "as 1 \"$app\""
        expect_equal "the answer to $user" "$(call_as $user SetEnabled isb 100000 $app false)" ""
        expect_equal "what $user reads" "$(call_as $user GetEnabled i 100000)" "as 0"
    done

    expect_refused outsider SetEnabled isb 100000 $app true
    # The caller is checked before the arguments.
    expect_refused outsider SetEnabled isb -- -5 $app true
    expect_equal "what an outsider reads" "$(call_as outsider GetEnabled i 100000)" "as 0"
    expect_equal "a user below all users" "$(call_as root SetEnabled isb -- -5 $app true 2>&1 || true)" \
        "Call failed: UID cannot be less than -1"
    expect_equal "reading all users" "$(call_as outsider GetEnabled i -- -1 2>&1 || true)" \
        "Call failed: GetEnabled() method does not support UID -1 (all users)"

    set_enabled 100000 $app false
    in_container chmod 444 "$(autostart_file $app 100000)"
    set_enabled 100000 $app true
    set_enabled 100001 $app false
    expect_equal "the file" "$(in_container cat "$(autostart_file $app 100000)")" \
        "[$app%7C100000]"$'\n'"autostart=true"
    expect_equal "who may read it" "$(in_container stat -c %a "$(autostart_file $app 100000)")" 644
    set_enabled -- -1 $app true
    expect_equal "what is left of it" "$(in_container ls /var/lib/am/apps/$app)" all-users.conf
}

expect_refused() {
    local answer
    answer=$(call_as "$@" 2>&1) && fail "$1 was let in"
    expect_match "the answer to $1" "$answer" "Call failed: *ccess denied*"
    expect_no_file /var/lib/am/apps/none
}
