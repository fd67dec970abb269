# shellcheck shell=bash
# Only the task's user may own the task's bus name. The policy is removed with the task.

task=com.example.Notes.task_index
name=com.example.Notes.Index

scenario() {
    start_daemon
    register >/dev/null
    expect_refused appuser "before the task was started"
    expect_equal "the answer to Start" "$(start_task $task User s appuser DBusService s $name)" "i 0"
    wait_for 20 "the name to be owned" bus_name_is_owned $name
    expect_equal "the owner's user" \
        "$(in_container busctl call org.freedesktop.DBus / org.freedesktop.DBus GetConnectionUnixUser s $name)" \
        "u 100000"
    expect_equal "mode and owner of the policy" \
        "$(in_container stat -c '%a %U' "$(policy_file $task)")" "644 root"
    # Everybody may call it.
    in_container setpriv --reuid=nobody --clear-groups \
        busctl call $name / org.freedesktop.DBus.Peer Ping >/dev/null || fail "nobody cannot talk to $name"

    in_container systemctl stop "$(unit_of $task)"
    wait_for 20 "the name to be free" bus_name_is_free $name
    expect_refused nobody "while the policy is in force"
    expect_allowed appuser

    stop_task $task >/dev/null
    expect_no_file "$(policy_file $task)"
    wait_for 20 "the bus to forget the policy" name_is_refused appuser
}

claim_as() {
    in_container setpriv --reuid="$1" --clear-groups timeout 20 /usr/libexec/notes/worker claim --own $name --fail || true
}

name_is_refused() { claim_as "$1" | grep -q "^may not own $name"; }

expect_refused() {
    name_is_refused "$1" || fail "$1 could own $name $2"
}

expect_allowed() {
    [ "$(claim_as "$1" | head -n 1)" = "owns $name" ] || fail "$1 could not own $name"
}
