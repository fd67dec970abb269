# shellcheck shell=bash
# The steps of the demo's walkthrough. To be sourced after one of fixture_*.sh.

walkthrough_task=com.example.Notes.task_sync
walkthrough_named_task=com.example.Notes.task_index
walkthrough_unit=ov_task.$walkthrough_task.service
walkthrough_session=/org/zarn/Orvane/TaskInvokerSessions/Sync
walkthrough_failures=0
walkthrough_step=0

step() {
    walkthrough_step=$((walkthrough_step + 1))
    printf '\n\033[1m%d. %s\033[0m\n' "$walkthrough_step" "$1"
}

# Prints a command as a person would type it, then runs it.
show() {
    printf '$ %s\n' "$*"
    fixture_run "$@" 2>&1
}

holds() { # holds WHAT CMD...: runs a check and prints whether it passed
    local what=$1
    shift
    if "$@"; then
        printf '  \033[32m✓\033[0m %s\n' "$what"
    else
        printf '  \033[31m✗ %s\033[0m\n' "$what"
        walkthrough_failures=$((walkthrough_failures + 1))
    fi
}

is() { [ "$1" = "$2" ]; }
contains() { grep -qF -- "$2" <<<"$1"; }

# Shows a command, and checks that it succeeded and that its output contains a text.
show_and_check() { # show_and_check WHAT TEXT CMD...
    local what=$1 text=$2 answer status=0
    shift 2
    answer=$(show "$@") || status=$?
    echo "$answer"
    holds "$what" said_and_done "$answer" "$text" $status
}

said_and_done() { [ "$3" -eq 0 ] && contains "$1" "$2"; }

announced() { grep -qE "$1" "$walkthrough_watch_log"; }
last_announced() { [ "$(tail -n 1 "$walkthrough_watch_log")" = "$1" ]; }
file_exists() { fixture_run test -f "$(fixture_path "$1")"; }
file_is_gone() { ! file_exists "$1"; }
worker_works() { fixture_task_log "$walkthrough_unit" | grep -qx working; }
daemon_has_left() { ! fixture_daemon_runs; }

walk_through() {
    walkthrough_watch_log=$(mktemp)
    walkthrough_rendered=$(mktemp)
    if fixture_is_a_system; then step_examination; fi
    step_declaration
    step_registration
    step_start
    step_files
    step_process
    step_announcement
    step_stop
    if fixture_is_a_system; then step_explanation; fi
    step_autostart
    step_removal
    step_log
    step_idle_exit
    rm -f "$walkthrough_watch_log" "$walkthrough_rendered"
    if [ "$walkthrough_failures" -eq 0 ]; then
        printf '\nAll checks passed, in %d steps.\n' "$walkthrough_step"
    else
        printf '\n%d checks failed.\n' "$walkthrough_failures"
        return 1
    fi
}

step_examination() {
    step "Does the system have what tasks need?"
    local answers
    answers=$(show orvanectl doctor || true)
    echo "$answers"
    holds "the bus and the daemon answer" contains "$answers" "yes  daemon "
    holds "the sandbox can be started" contains "$answers" "yes  sandbox options"
}

step_declaration() {
    step "An application declares background tasks"
    local entry
    entry=$(show grep -v '^#' "$(fixture_path /usr/share/applications/com.example.Notes.desktop)")
    echo "$entry"
    holds "the entry declares two tasks" is "$(grep -c '^\[X-Task ' <<<"$entry")" 2
    show_and_check "lint finds no error in the entry" "errors: 0" \
        orvanectl lint "$(fixture_path /usr/share/applications/com.example.Notes.desktop)"
    show_and_check "the daemon serves the type of the tasks" "Sync  system" orvanectl types
    show_and_check "both tasks are listed" $walkthrough_named_task orvanectl tasks
}

step_registration() {
    step "A client registers for the task type and stays on the bus"
    fixture_start_daemon 4000
    fixture_run orvane-watch Sync >"$walkthrough_watch_log" 2>&1 &
    walkthrough_watcher=$!
    wait_for 20 "the client to be registered" announced '^session ' || true
    cat "$walkthrough_watch_log"
    holds "the client has a session" announced "^session .*$walkthrough_session"
}

step_start() {
    step "Two tasks are started; the second may own a name on the bus"
    fixture_run orvanectl render $walkthrough_task --user "$(fixture_user)" --weight 100 --set MemoryMax=200M --json \
        | jq -j .unit >"$walkthrough_rendered"
    show_and_check "the first task runs" "$walkthrough_task runs, process" \
        orvanectl start $walkthrough_task --user "$(fixture_user)" --weight 100 --set MemoryMax=200M --wait
    show_and_check "the second task runs" "$walkthrough_named_task runs, process" \
        orvanectl start $walkthrough_named_task --user "$(fixture_user)" --own com.example.Notes.Index --wait
}

step_files() {
    step "The files that the daemon has written"
    show cat "$(fixture_path "/etc/systemd/system/$walkthrough_unit")"
    echo
    show cat "$(fixture_path "/etc/dbus-1/system.d/$walkthrough_named_task.conf")"
    holds "the unit is what orvanectl render has shown before" written_is_rendered
    holds "the hint MemoryMax is in the unit" \
        contains "$(fixture_run cat "$(fixture_path "/etc/systemd/system/$walkthrough_unit")")" MemoryMax=200M
    holds "a task without a bus name has no policy" \
        file_is_gone "/etc/dbus-1/system.d/$walkthrough_task.conf"
}

written_is_rendered() {
    fixture_run cat "$(fixture_path "/etc/systemd/system/$walkthrough_unit")" | cmp -s - "$walkthrough_rendered"
}

step_process() {
    step "The first task runs"
    wait_for 30 "the worker to work" worker_works || true
    show_and_check "orvanectl shows where it is declared, and how it is doing" running orvanectl show $walkthrough_task
    holds "its program works" worker_works
    fixture_confinement "$walkthrough_unit"
    wait_for 20 "the bus name" name_is_owned || true
    holds "the second task owns com.example.Notes.Index" name_is_owned
}

name_is_owned() { fixture_run busctl status com.example.Notes.Index >/dev/null 2>&1; }

step_announcement() {
    step "The client has been told"
    wait_for 20 "the announcement" announced "ActiveTasks:.* $walkthrough_task \(process [0-9]+\)" || true
    cat "$walkthrough_watch_log"
    holds "PropertiesChanged listed the task and its process" \
        announced "ActiveTasks:.* $walkthrough_task \(process [0-9]+\)"
}

step_stop() {
    step "Both tasks are stopped, and nothing is left of them"
    local task
    for task in $walkthrough_task $walkthrough_named_task; do
        show_and_check "systemd has been asked to stop $task" "" orvanectl stop "$task"
        holds "its unit is gone" file_is_gone "/etc/systemd/system/ov_task.$task.service"
        holds "its policy is gone" file_is_gone "/etc/dbus-1/system.d/$task.conf"
    done
    wait_for 20 "the end to be announced" last_announced "ActiveTasks: none" || true
    holds "the client has been told that nothing runs" last_announced "ActiveTasks: none"
    wait_for 20 "the processes to end" no_worker_runs || true
    holds "no process is left" no_worker_runs
}

no_worker_runs() { [ -z "$(fixture_workers)" ]; }

step_explanation() {
    step "orvanectl explains why a task does not start, and how to fix it"
    local cure
    show chmod a-x /usr/libexec/notes/worker
    show orvanectl why $walkthrough_task --user "$(fixture_user)" || true
    # Its exit status is not 0, because something is wrong.
    cure=$( (fixture_run orvanectl why $walkthrough_task --user "$(fixture_user)" --json || true) \
        | jq -r 'first(.gates[] | select(.answer == "no")).cure')
    # shellcheck disable=SC2086 # the words of a command
    show $cure
    show_and_check "the task starts again" "$walkthrough_task runs, process" \
        orvanectl start $walkthrough_task --user "$(fixture_user)" --wait
    show_and_check "orvanectl finds no reason against a start any more" "Nothing prevents it from starting" \
        orvanectl why $walkthrough_task
    show_and_check "systemd has been asked to stop the task" "" orvanectl stop $walkthrough_task
    wait_for 20 "the runs to end" both_runs_ended || true
    show_and_check "its last runs are listed" "stopped" orvanectl history $walkthrough_task
}

# The journal has the end of a run a moment after systemd was asked to stop it.
both_runs_ended() {
    fixture_run orvanectl history $walkthrough_task --json | jq -e '[.runs[] | select(.state != "running")] | length >= 2' >/dev/null
}

step_autostart() {
    step "The application is switched on to start with the session"
    show_and_check "the setting is written" "" orvanectl autostart enable com.example.Notes --user 100000
    show_and_check "the application starts for this user" "com.example.Notes starts for the user 100000" \
        orvanectl autostart explain com.example.Notes --user 100000
    show_and_check "it does not start for other users" "com.example.Notes does not start for the user 100001" \
        orvanectl autostart explain com.example.Notes --user 100001
}

step_removal() {
    step "The package of the application is removed while its task runs"
    show orvanectl start $walkthrough_task --user "$(fixture_user)" --at-boot
    wait_for 20 "the task to run" last_announced_running || true
    holds "the task runs again" last_announced_running
    show busctl call org.zarn.Orvane /org/zarn/Teller/Hooks org.zarn.Teller.Hooks \
        OnRemove s com.example.Notes
    wait_for 20 "the end to be announced" last_announced "ActiveTasks: none" || true
    holds "its task has ended" last_announced "ActiveTasks: none"
    holds "its unit is gone" file_is_gone "/etc/systemd/system/$walkthrough_unit"
    holds "its autostart setting is gone" \
        file_is_gone /var/lib/am/apps/com.example.Notes/100000.conf
}

last_announced_running() { tail -n 1 "$walkthrough_watch_log" | grep -q "^ActiveTasks: $walkthrough_task"; }

step_log() {
    step "The daemon's own log"
    fixture_daemon_log
    holds "each line names its source file, line and function" log_is_well_formed
}

log_is_well_formed() {
    [ -n "$(fixture_daemon_log)" ] && ! fixture_daemon_log | grep -vqE '^src/[^:]+:[0-9]+: .*\(.*\).*: '
}

step_idle_exit() {
    step "The client leaves the bus, and the idle daemon exits"
    fixture_end_watcher "$walkthrough_watcher"
    wait_for 30 "the daemon to exit" daemon_has_left || true
    holds "the daemon has exited by itself" daemon_has_left
    holds "its exit status is 0" is "$(fixture_daemon_status)" 0
}
