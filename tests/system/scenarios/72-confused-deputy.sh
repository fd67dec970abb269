# shellcheck shell=bash
# A member of "privileged" passes on hints from others. Hints that would become more than their argument,
# value or name are refused, and nothing is written. Odd but valid texts arrive unchanged.

task=com.example.Notes.task_sync
line=$'a\nExecStartPre=+/usr/bin/touch /run/outside'

scenario() {
    in_container useradd --groups privileged member
    start_daemon
    register >/dev/null
    remember_system

    withstand "parameters" refuses_parameters
    withstand "environments" refuses_environments
    withstand "permissions" refuses_permissions
    withstand "users" refuses_users
    withstand "bus names" refuses_bus_names
    withstand "further settings" refuses_settings
    withstand "tasks that are none" refuses_tasks
    withstand "honest text" honest_text_arrives
}

# start_as_member TASK STARTUP-INFO... HINT...: each map in busctl's form, with the number of entries first.
start_as_member() {
    as member busctl call org.zarn.Orvane $session org.zarn.Orvane.TaskInvokerSession1 Start 'sa{sv}a{sv}' \
        "$@" 2>&1
}

# refused HINT...: a start with this hint and the user is refused.
refused() { refused_start $task 0 2 User s appuser "$@"; }

# refused_start TASK STARTUP-INFO... HINT...
refused_start() {
    local answer
    answer=$(start_as_member "$@") && fail "started: $*"
    expect_match "the answer to Start of $*" "$answer" "Call failed: *"
    expect_equal "the unit after Start of $*" "$(unit_property $task LoadState)" not-found
}

refuses_parameters() {
    local text
    for text in "$line" 'a\' ';' $'a\rb' $'\x7f' $'a\e[2J'; do
        refused Params as 1 "$text"
    done
    refused Params as 3 a ';' +/usr/bin/touch
}

refuses_environments() {
    local text
    for text in "A=$line" 'A=b\' $'A=b\tc\x01'; do
        refused_start $task 1 Environment as 1 "$text" 1 User s appuser
    done
    refused_start $task 1 Environment as 2 B=c "A=$line" 1 User s appuser
}

refuses_permissions() {
    local text
    for text in ../../../home/u/x /etc/x "$line" 'x\'; do
        refused Permissions as 1 "$text"
    done
}

refuses_users() {
    local text
    for text in root 0 ' root' 'root ' 00 +0 %u '$USER' '0 ' "appuser$line" 65535 4294967295 a:b ''; do
        refused_start $task 0 1 User s "$text"
    done
}

refuses_bus_names() {
    local text
    for text in '*' org.zarn.Orvane org.zarn.Orvane.User org.freedesktop.systemd1 org org.zarn :1.5 a \
        'a.b"/><allow own="*' "a.b$line" a..b; do
        refused DBusService s "$text"
    done
}

refuses_settings() {
    local text
    for text in 'User ' ' User' 'ExecStartPre ' $'A\nUser' '[Service]' '' 'A=b'; do
        refused CGroups 'a{sv}' 1 "$text" s root
    done
    refused CGroups 'a{sv}' 1 MemoryMax s "$line"
    refused CGroups 'a{sv}' 1 MemoryMax s '1G\'
    refused CGroups 'a{sv}' 1 Slice as 2 a "$line"
}

refuses_tasks() {
    local id
    for id in "$task/" ../x.y.task_z "$task.service" '' "$line" no.such.task_x; do
        refused_start "$id" 0 1 User s appuser
    done
}

honest_text_arrives() {
    expect_equal "the answer to Start" "$(start_as_member $task 1 Environment as 2 'A="one two"' 'B=50%%' \
        3 User s appuser Params as 4 "it's \"one\"'s" 'ü€😀' '50%%' 'a;b' \
        CGroups 'a{sv}' 1 MemoryMax s 200M)" "i 0"
    expect_match "the unit" "$(in_container cat "$(unit_file $task)")" \
        "*Environment=A=\"one two\" B=50%% *ExecStart=* -- /usr/libexec/notes/worker sync it's \"one\"'s ü€😀 50%% a;b*MemoryMax=200M*User=appuser*"
    stop_task $task >/dev/null
    wait_for 20 "the worker to end" no_worker_runs
}

no_worker_runs() { ! in_container pgrep -x worker >/dev/null; }
