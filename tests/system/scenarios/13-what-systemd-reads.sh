# shellcheck shell=bash
# systemd runs what the daemon has checked: the arguments that systemd reads from a unit are the sandbox's
# options, "--", the program and its arguments in the places where the daemon put them, however odd the
# arguments are. systemd refuses a unit with a quote that is not closed. The daemon refuses everything that
# would move the "--", and writes nothing.

program=/usr/libexec/notes/worker
application=com.example.Odd

# The names of the tasks, and the arguments after the program in their Exec.
declare -A declared=(
    [plain]='sync'
    [parameters]='sync'
    [quotes]='a "b c" '"'d  e'"' f"g'
    [closedquotes]='a "b c" '"'d  e'"' --x="f g"'
    [specifiers]='%n %% %= 100%'
    [variables]='$X ${X} a${X}b $$'
    [beyondascii]='ü € 😀'
    [blanks]='a  b '
    [semicolons]='\; a; ;b a;b ;;'
    [prefixes]='@a -b :c +d !e #f [g] h=i'
    [backslashes]='a\\b c\qd \x41'
    [options]='-- --noprofile --private-bin=sh'
    [long]=$(printf 'x%.0s' {1..12000})
)

prepare() {
    local task
    container_install "$ORVANE_BIN/notes-worker" "$program\"" 755
    declare_application Odd com.example Odd "${!declared[@]}"
    # The second quote would end before the "--" what the first one begins, so that the rest would be the
    # sandbox's options.
    declare_program Opens "$program\" --noprofile $program sync"
    declare_program Many "$program,sh sync"
    declare_program Variable '/usr/libexec/${X}/worker sync'
    declare_program Second "$program sync ; +/usr/bin/touch /run/outside"
    declare_application system1 org freedesktop plain
    declare_application system2 org.zarn am plain
    declare_application parent .. x plain
}

# declare_application FILE ORGANISATION NAME TASK...: an application with these tasks of the table.
declare_application() {
    local file=$1 organisation=$2 name=$3 task
    shift 3
    {
        printf '[Desktop Entry]\nType=Application\nName=Odd\nExec=/usr/bin/odd\n'
        printf '[X-Application]\nOrganizationName=%s\nApplicationName=%s\n' "$organisation" "$name"
        for task in "$@"; do
            # In a desktop entry a backslash begins an escape.
            printf '[X-Task %s]\nType=Sync\nExec=%s %s\n' "$task" "$program" \
                "${declared[$task]//\\/\\\\}"
        done
    } >"$container_dir/root/usr/share/applications/$file.desktop"
}

# declare_program NAME EXEC: an application with one task, "sync".
declare_program() {
    printf '[Desktop Entry]\nType=Application\nName=Odd\nExec=/usr/bin/odd\n%s\n%s\n%s\n%s\n%s\n%s\n' \
        '[X-Application]' OrganizationName=com.example "ApplicationName=$1" \
        '[X-Task sync]' Type=Sync "Exec=$2" >"$container_dir/root/usr/share/applications/$1.desktop"
}

scenario() {
    start_daemon
    register >/dev/null
    declarations_keep_their_places
    hints_keep_their_places
    an_open_quote_is_refused_by_systemd
    nothing_is_written_of_what_is_refused
}

declarations_keep_their_places() {
    # systemd removes quotes and the blanks between words, and replaces specifiers. It replaces variables only
    # when the program is run.
    holds plain sync
    holds closedquotes a "b c" "d  e" "--x=f g"
    holds specifiers "$(unit_of $application.task_specifiers)" % %= 100%
    holds variables '$X' '${X}' 'a${X}b' '$$'
    holds beyondascii ü € 😀
    holds blanks a b
    holds semicolons ';' 'a;' ';b' 'a;b' ';;'
    holds prefixes @a -b :c +d !e '#f' '[g]' h=i
    holds backslashes 'a\b' 'c\qd' A
    holds options -- --noprofile --private-bin=sh
    holds long "${declared[long]}"
}

# holds TASK ARGUMENT...: starts the task and compares its command as systemd has read it.
holds() {
    local task=$application.task_$1
    shift
    expect_equal "the answer to Start of $task" "$(start_task "$task" User s appuser)" "i 0"
    expect_equal "what systemd holds of $task" "$(vector_of "$task")" "$(expected_vector "$@")"
    stop_task "$task" >/dev/null
}

# The arguments of the unit's only command, as JSON.
vector_of() {
    local path
    path=$(in_container busctl --json=short call org.freedesktop.systemd1 /org/freedesktop/systemd1 \
        org.freedesktop.systemd1.Manager LoadUnit s "$(unit_of "$1")" | jq -r '.data[0]')
    in_container busctl --json=short get-property org.freedesktop.systemd1 "$path" \
        org.freedesktop.systemd1.Service ExecStart \
        | jq -c 'if .data | length == 1 then .data[0][1] else "several commands" end'
}

# expected_vector ARGUMENT...: the expected arguments, with these of the program.
expected_vector() {
    local home='${HOME}' directory=com.example/Odd common=com.example/common
    jq -cn '$ARGS.positional' --args -- /usr/bin/firejail --quiet --private-bin=worker \
        --template=OrganizationName:com.example --template=ApplicationName:Odd \
        --whitelist=/usr/share/$application \
        "--mkdir=$home/.cache/$directory" "--whitelist=$home/.cache/$directory" \
        "--mkdir=$home/.local/share/$directory" "--whitelist=$home/.local/share/$directory" \
        "--mkdir=$home/.config/$directory" "--whitelist=$home/.config/$directory" \
        --dbus-user=none --whitelist=/srv/shared/$directory "--dbus-system.talk=$application.*" \
        "--mkdir=$home/.cache/$common" "--whitelist=$home/.cache/$common" \
        "--mkdir=$home/.config/$common" "--whitelist=$home/.config/$common" \
        "--mkdir=$home/.local/share/$common" "--whitelist=$home/.local/share/$common" \
        --whitelist=/usr/share/common/com.example --whitelist=/srv/shared/$common \
        --whitelist=/srv/shared/empty --blacklist=/srv/shared/empty \
        --whitelist=/usr/share/common/empty --blacklist=/usr/share/common/empty \
        --profile=/etc/sailjail/permissions/BaseTask.permission -- "$program" "$@"
}

hints_keep_their_places() {
    local task=$application.task_plain answer
    answer=$(session_call Start 'sa{sv}a{sv}' $task 1 Environment as 3 'A="one two"' 'B=%n' "C=ü'\$X'" \
        2 User s appuser Params as 5 '"one two"' '%n' '${A}' 'a;' 'b\\c')
    expect_equal "the answer to Start with odd hints" "$answer" "i 0"
    expect_equal "what systemd holds of odd parameters" "$(vector_of $task)" \
        "$(expected_vector sync "one two" "$(unit_of $task)" '${A}' 'a;' 'b\c')"
    # systemd removes quotes only when they surround a whole entry, and does not replace variables.
    expect_equal "what systemd holds of an odd environment" \
        "$(in_container systemctl show --value -p Environment "$(unit_of $task)")" \
        "\"A=one two\" B=$(unit_of $task) \"C=ü\\\$X\" HALCYN_APP_ID=$application HALCYN_PACKAGE_NAME=$application HALCYN_TASK_ID=plain QT_QPA_PLATFORM=minimal"
    stop_task $task >/dev/null
}

an_open_quote_is_refused_by_systemd() {
    systemd_refuses $application.task_quotes
    systemd_refuses $application.task_parameters Params as 1 "it's"
}

# systemd_refuses TASK [HINT...]: no process of the task is started.
systemd_refuses() {
    local task=$1 answer
    answer=$(start_with_hint "$@") && fail "$task started with an open quote"
    expect_match "the answer to Start of $task" "$answer" "Call failed: Unit *bad unit file setting*"
    expect_equal "the main process of $task" "$(unit_property "$task" MainPID)" 0
    stop_task "$task" >/dev/null 2>&1 || true
}

# start_with_hint TASK [HINT...]: at most one hint besides the user.
start_with_hint() {
    local task=$1
    shift
    session_call Start 'sa{sv}a{sv}' "$task" 0 $(($# > 0 ? 2 : 1)) User s appuser "$@" 2>&1
}

nothing_is_written_of_what_is_refused() {
    local before
    before=$(written_files)
    is_refused "Exec must not name a program with *" com.example.Opens.task_sync
    is_refused "Exec must not name a program with *" com.example.Many.task_sync
    is_refused "Exec must not name a program with *" com.example.Variable.task_sync
    is_refused "Exec must not hold a separate semicolon" com.example.Second.task_sync
    is_refused "Application id must not be a name of the system" org.freedesktop.task_plain
    is_refused "Application id must not be a name of the system" org.zarn.am.task_plain
    is_refused "Application id must not have an empty component" ...x.task_plain
    is_refused "CGroups keys must be *" $application.task_plain CGroups 'a{sv}' 1 'User ' s root
    is_refused "Slice must not hold control characters" \
        $application.task_plain CGroups 'a{sv}' 1 Slice s $'a\nUser=root'
    is_refused "Params must not hold a separate semicolon" \
        $application.task_plain Params as 2 ';' '+/usr/bin/touch'
    is_refused "Permissions must not hold a slash" $application.task_plain Permissions as 1 ../x
    is_refused "DBusService must not be a name of the system" \
        $application.task_plain DBusService s org.freedesktop.login1
    expect_equal "the files after what was refused" "$(written_files)" "$before"
    expect_no_file /run/outside
}

# is_refused PATTERN TASK [HINT...]: the daemon answers with this error.
is_refused() {
    local pattern=$1 answer
    shift
    answer=$(start_with_hint "$@") && fail "$* started"
    expect_match "the answer to Start of $*" "$answer" "Call failed: $pattern"
}

written_files() {
    in_container find /etc/systemd/system /etc/dbus-1/system.d -printf '%p %T@\n' | sort
}
