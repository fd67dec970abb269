# shellcheck shell=bash
# The demo's story, told on a stage: to be sourced after one of stage_*.sh.

story_task=com.example.Notes.task_sync
story_named_task=com.example.Notes.task_index
story_unit=ov_task.$story_task.service
story_session=/org/zarn/Orvane/TaskInvokerSessions/Sync
story_failures=0
story_chapter=0

chapter() {
    story_chapter=$((story_chapter + 1))
    printf '\n\033[1m%d. %s\033[0m\n' "$story_chapter" "$1"
}

# Prints a command as a person would type it, then runs it.
show() {
    printf '$ %s\n' "$*"
    stage_run "$@" 2>&1
}

holds() { # holds WHAT CMD...: says whether a check held
    local what=$1
    shift
    if "$@"; then
        printf '  \033[32m✓\033[0m %s\n' "$what"
    else
        printf '  \033[31m✗ %s\033[0m\n' "$what"
        story_failures=$((story_failures + 1))
    fi
}

is() { [ "$1" = "$2" ]; }
contains() { grep -qF -- "$2" <<<"$1"; }

# The same with the output checked: runs the check with what was printed.
show_and_check() { # show_and_check WHAT TEXT CMD...
    local what=$1 text=$2 answer status=0
    shift 2
    answer=$(show "$@") || status=$?
    echo "$answer"
    holds "$what" said_and_done "$answer" "$text" $status
}

said_and_done() { [ "$3" -eq 0 ] && contains "$1" "$2"; }

announced() { grep -qE "$1" "$story_watch_log"; }
last_announced() { [ "$(tail -n 1 "$story_watch_log")" = "$1" ]; }
file_exists() { stage_run test -f "$(stage_path "$1")"; }
file_is_gone() { ! file_exists "$1"; }
worker_works() { stage_task_log "$story_unit" | grep -qx working; }
daemon_has_left() { ! stage_daemon_runs; }

tell() {
    story_watch_log=$(mktemp)
    story_rendered=$(mktemp)
    if stage_is_a_system; then tell_examination; fi
    tell_declaration
    tell_registration
    tell_start
    tell_files
    tell_process
    tell_announcement
    tell_stop
    if stage_is_a_system; then tell_explanation; fi
    tell_autostart
    tell_removal
    tell_log
    tell_idle_exit
    rm -f "$story_watch_log" "$story_rendered"
    if [ "$story_failures" -eq 0 ]; then
        printf '\nEverything held: %d chapters.\n' "$story_chapter"
    else
        printf '\n%d things did not hold.\n' "$story_failures"
        return 1
    fi
}

tell_examination() {
    chapter "Somebody asks whether the system has what tasks need"
    local answers
    answers=$(show orvanectl doctor || true)
    echo "$answers"
    holds "the bus and the daemon answer" contains "$answers" "yes  daemon "
    holds "a trial of the sandbox ended well" contains "$answers" "yes  sandbox options"
}

tell_declaration() {
    chapter "An application declares background tasks"
    local entry
    entry=$(show grep -v '^#' "$(stage_path /usr/share/applications/com.example.Notes.desktop)")
    echo "$entry"
    holds "it declares two tasks" is "$(grep -c '^\[X-Task ' <<<"$entry")" 2
    show_and_check "lint finds no error in it" "errors: 0" \
        orvanectl lint "$(stage_path /usr/share/applications/com.example.Notes.desktop)"
    show_and_check "the daemon serves their type" "Sync  system" orvanectl types
    show_and_check "and knows both" $story_named_task orvanectl tasks
}

tell_registration() {
    chapter "A client registers for the task type and stays"
    stage_start_daemon 4000
    stage_run orvane-watch Sync >"$story_watch_log" 2>&1 &
    story_watcher=$!
    wait_for 20 "the client to be registered" announced '^session ' || true
    cat "$story_watch_log"
    holds "it has a session" announced "^session .*$story_session"
}

tell_start() {
    chapter "It starts one task, and one that owns a bus name"
    stage_run orvanectl render $story_task --user "$(stage_user)" --weight 100 --set MemoryMax=200M --json \
        | jq -j .unit >"$story_rendered"
    show_and_check "it runs" "$story_task runs, process" \
        orvanectl start $story_task --user "$(stage_user)" --weight 100 --set MemoryMax=200M --wait
    show_and_check "and the other" "$story_named_task runs, process" \
        orvanectl start $story_named_task --user "$(stage_user)" --own com.example.Notes.Index --wait
}

tell_files() {
    chapter "What the daemon wrote"
    show cat "$(stage_path "/etc/systemd/system/$story_unit")"
    echo
    show cat "$(stage_path "/etc/dbus-1/system.d/$story_named_task.conf")"
    holds "orvanectl render had shown the same" written_is_rendered
    holds "the hint MemoryMax is in the unit" \
        contains "$(stage_run cat "$(stage_path "/etc/systemd/system/$story_unit")")" MemoryMax=200M
    holds "a task without a bus name has no policy" \
        file_is_gone "/etc/dbus-1/system.d/$story_task.conf"
}

written_is_rendered() {
    stage_run cat "$(stage_path "/etc/systemd/system/$story_unit")" | cmp -s - "$story_rendered"
}

tell_process() {
    chapter "The task runs"
    wait_for 30 "the worker to work" worker_works || true
    show_and_check "orvanectl shows where its declaration is, and how it fares" running orvanectl show $story_task
    holds "the worker does its work" worker_works
    stage_confinement "$story_unit"
    wait_for 20 "the bus name" name_is_owned || true
    holds "the other task owns com.example.Notes.Index" name_is_owned
}

name_is_owned() { stage_run busctl status com.example.Notes.Index >/dev/null 2>&1; }

tell_announcement() {
    chapter "The client was told"
    wait_for 20 "the announcement" announced "ActiveTasks:.* $story_task \(process [0-9]+\)" || true
    cat "$story_watch_log"
    holds "PropertiesChanged listed the task and its process" \
        announced "ActiveTasks:.* $story_task \(process [0-9]+\)"
}

tell_stop() {
    chapter "It stops them, and nothing is left"
    local task
    for task in $story_task $story_named_task; do
        show_and_check "$task stopped" "" orvanectl stop $task
        holds "its unit is gone" file_is_gone "/etc/systemd/system/ov_task.$task.service"
        holds "its policy is gone" file_is_gone "/etc/dbus-1/system.d/$task.conf"
    done
    wait_for 20 "the end to be announced" last_announced "ActiveTasks: none" || true
    holds "the client was told that nothing runs" last_announced "ActiveTasks: none"
    wait_for 20 "the processes to end" no_worker_runs || true
    holds "no process is left" no_worker_runs
}

no_worker_runs() { [ -z "$(stage_workers)" ]; }

tell_explanation() {
    chapter "A task that does not start is explained, and mended"
    local cure
    show chmod a-x /usr/libexec/notes/worker
    show orvanectl why $story_task --user "$(stage_user)" || true
    # It says by its status, too, that something is wrong.
    cure=$( (stage_run orvanectl why $story_task --user "$(stage_user)" --json || true) \
        | jq -r 'first(.gates[] | select(.answer == "no")).cure')
    # shellcheck disable=SC2086 # the words of a command
    show $cure
    show_and_check "it starts again" "$story_task runs, process" \
        orvanectl start $story_task --user "$(stage_user)" --wait
    show_and_check "why has nothing to say against it" "Nothing stands in its way" \
        orvanectl why $story_task
    show_and_check "and stops" "" orvanectl stop $story_task
    show_and_check "its past is known" "stopped" orvanectl history $story_task
}

tell_autostart() {
    chapter "The owner has the application start with the session"
    show_and_check "it is accepted" "" orvanectl autostart enable com.example.Notes --user 100000
    show_and_check "it is switched on for this user" "com.example.Notes starts for the user 100000" \
        orvanectl autostart explain com.example.Notes --user 100000
    show_and_check "and for nobody else" "com.example.Notes does not start for the user 100001" \
        orvanectl autostart explain com.example.Notes --user 100001
}

tell_removal() {
    chapter "The package is removed while its task runs"
    show orvanectl start $story_task --user "$(stage_user)" --at-boot
    wait_for 20 "the task to run" last_announced_running || true
    holds "the task runs again" last_announced_running
    show busctl call org.zarn.Orvane /org/zarn/Teller/Hooks org.zarn.Teller.Hooks \
        OnRemove s com.example.Notes
    wait_for 20 "the end to be announced" last_announced "ActiveTasks: none" || true
    holds "its task has ended" last_announced "ActiveTasks: none"
    holds "its unit is gone" file_is_gone "/etc/systemd/system/$story_unit"
    holds "its autostart setting is gone" \
        file_is_gone /var/lib/am/apps/com.example.Notes/100000.conf
}

last_announced_running() { tail -n 1 "$story_watch_log" | grep -q "^ActiveTasks: $story_task"; }

tell_log() {
    chapter "The daemon's own log"
    stage_daemon_log
    holds "each line names file, line and function" log_is_well_formed
}

log_is_well_formed() {
    [ -n "$(stage_daemon_log)" ] && ! stage_daemon_log | grep -vqE '^src/[^:]+:[0-9]+: .*\(.*\).*: '
}

tell_idle_exit() {
    chapter "The client leaves, and so does the daemon"
    stage_end_watcher "$story_watcher"
    wait_for 30 "the daemon to leave" daemon_has_left || true
    holds "the daemon left by itself" daemon_has_left
    holds "with status 0" is "$(stage_daemon_status)" 0
}
