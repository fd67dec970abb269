# shellcheck shell=bash
# An unprivileged user makes calls over connections of their other processes: of one that has become a
# set-user-id or set-group-id program, of one that has ended, and of one whose number a process of root now
# has. All calls are refused. The same calls of authorised users are admitted.

app=com.example.Notes
task=com.example.Notes.task_sync
made_by_root=/run/made-by-root
denied=org.freedesktop.DBus.Error.AccessDenied

scenario() {
    in_container useradd --gid privileged primary
    in_container useradd --groups privileged member
    in_container useradd outsider
    container_install "$ORVANE_BIN/lent-connection" /usr/local/bin/lent-connection 755
    container_install "$ORVANE_BIN/process-with-id" /usr/local/bin/process-with-id 755
    # A set-group-id program that waits for input.
    in_container install -g privileged -m 2755 /usr/bin/cat /usr/local/bin/set-group-id
    start_daemon

    local privileged outsider
    privileged=$(in_container getent group privileged | cut -d : -f 3)
    outsider=$(in_container id -u outsider):$(in_container id -g outsider)
    expect_refused "$outsider" own
    expect_refused "0:${outsider#*:}" becomes su root
    expect_refused "${outsider%:*}:$privileged" becomes /usr/local/bin/set-group-id
    expect_refused none ended
    expect_refused 0:0 replaced

    local user
    for user in root primary member; do
        expect_admitted user $user "$(in_container id -g $user)"
    done
    # Admitted only because of the process's own group.
    expect_admitted "outsider in the group" outsider "$privileged" --clear-groups
}

# lend_as USER GROUP HOW-TO-SET-OTHER-GROUPS ARGUMENT...
lend_as() {
    local user=$1 group=$2 groups=$3
    shift 3
    in_container setpriv --reuid="$user" --regid="$group" "$groups" \
        timeout 60 /usr/local/bin/lent-connection $made_by_root "$@"
}

lend_as_outsider() {
    lend_as outsider "$(in_container id -g outsider)" --init-groups "$@"
}

# expect_refused OWNER WAY...: OWNER is the user:group of the process that has connected, at the time of the
# calls.
expect_refused() {
    local owner=$1 answer
    shift
    if [ "$1" = replaced ]; then
        answer=$(lend_a_replaced_one)
    else
        answer=$(lend_as_outsider "$@")
    fi
    expect_equal "what came of \"$*\"" "$answer" \
        "connected by $owner"$'\n'"SetEnabled $denied"$'\n'"Start $denied"$'\n'"connected by $owner"
    expect_no_file $made_by_root
    expect_no_file "$(unit_file $task)"
    expect_no_file "/var/lib/am/apps/$app"
    expect_equal "the task's unit after \"$*\"" "$(unit_property $task LoadState)" not-found
    expect_equal "what still answers" "$(call_as outsider GetEnabled i 100000)" "as 0"
}

lend_a_replaced_one() {
    local number line owner output
    coproc lending { lend_as_outsider replaced; }
    # A copy, because bash unsets its variable when the program ends.
    exec {output}<&"${lending[0]}"
    read -r line <&"$output"
    number=${line#replace }
    in_container process-with-id "$number" sleep 60 >/dev/null &
    owner=$!
    echo >&"${lending[1]}"
    cat <&"$output"
    exec {output}<&-
    in_container kill "$number"
    wait "$owner" || true
}

# expect_admitted WHO USER GROUP [HOW-TO-SET-OTHER-GROUPS]
expect_admitted() {
    local owner
    owner=$(in_container id -u "$2"):$3
    expect_equal "what came of the calls by $1 $2" "$(lend_as "$2" "$3" "${4:---init-groups}" own)" \
        "connected by $owner"$'\n'"SetEnabled admitted"$'\n'"Start admitted"$'\n'"connected by $owner"
    # An admitted call makes root create a file, which shows that the refused calls were dangerous.
    wait_for 20 "the file that root makes" in_container test -f $made_by_root
    stop_task $task >/dev/null
    set_enabled 100000 $app false
    in_container rm -r $made_by_root "/var/lib/am/apps/$app"
}
