# shellcheck shell=bash
# Faults that keep a task or an application from starting. For each, orvanectl why names the gate, and the
# command that it prints opens the gate.

task=com.example.Notes.task_sync
index=com.example.Notes.task_index
apps=/usr/share/applications
entry=$apps/com.example.Notes.desktop
permissions=/etc/sailjail/permissions
bus_policy=/usr/share/dbus-1/system.d/org.zarn.Orvane.conf

# Each line has the fault and the gate that it shuts, and the question where it is not root's question about
# the task.
faults() {
    while read -r fault gate question; do
        [ -z "$fault" ] || examine "$fault" "${gate//_/ }" "$question"
    done <<END
        entry_is_renamed                entry
        entry_is_in_a_subfolder         entry
        entry_declares_another_id       entry
        entry_declares_no_id            entry
        entry_has_no_name               valid_entry
        entry_has_an_unknown_type       valid_entry
        entry_has_a_stray_line          valid_entry
        entry_has_a_misspelt_header     valid_entry
        entry_is_shadowed               not_shadowed
        task_has_a_misspelt_header      task
        type_is_misspelt                type
        program_is_not_executable       program
        program_has_moved               program
        program_has_no_path             program
        program_is_a_script             program
        permission_is_misspelt          permissions
        permission_file_is_renamed      permissions
        permission_file_is_secret       permissions
        base_permission_is_renamed      base_permission
        sandbox_is_not_executable       sandbox
        user_is_missing                 user                    --user newcomer
        program_is_for_root             program_for_the_user
        folder_is_for_root              program_for_the_user
        caller_is_in_no_group           right_to_start          as outsider
        daemon_is_masked                daemon
        daemon_has_no_policy            daemon's_bus_policy
        type_has_no_file                answer
        entry_is_in_a_home              known                   at home
        unit_is_masked                  unit                    --user appuser
        unit_has_changed                unit_in_force
        policy_is_secret                bus_policy              about $index
        policy_is_for_another           bus_policy              about $index
        task_was_killed                 last_result
        task_was_started_too_often      last_result
        application_is_switched_off     autostart               about com.example.Notes
        entry_has_another_file_name     launcher's_entry        about com.example.Notes
        launcher_is_masked              launcher                about com.example.Notes
END
}

fault_entry_is_renamed() { run mv $entry $entry.disabled; }
fault_entry_is_in_a_subfolder() { run mkdir -p $apps/notes && run mv $entry $apps/notes/; }
fault_entry_declares_another_id() { edit 's/=com.example$/=com.exmaple/'; }
fault_entry_declares_no_id() { edit '/^OrganizationName\|^ApplicationName/d'; }
fault_entry_has_no_name() { edit '/^Name=/d'; }
fault_entry_has_an_unknown_type() { edit 's/^Type=Application/Type=Aplication/'; }
fault_entry_has_a_stray_line() { edit '/^Icon=/a and a picture'; }
fault_entry_has_a_misspelt_header() { edit 's/Desktop Entry/Desktop entry/'; }
fault_entry_is_shadowed() {
    run mkdir -p /usr/local/share/applications
    run bash -c "sed '/^.X-Task sync/,/^$/d' $entry >/usr/local/share/applications/notes.desktop"
}
fault_task_has_a_misspelt_header() { edit 's/X-Task sync/X-Task:sync/'; }
fault_type_is_misspelt() { edit 's/^Type=Sync/Type=Snyc/'; }
fault_program_is_not_executable() { run chmod a-x /usr/libexec/notes/worker; }
fault_program_has_moved() { run mv /usr/libexec/notes/worker /usr/libexec/worker; }
fault_program_has_no_path() { edit 's#/usr/libexec/notes/worker#worker#'; }
fault_program_is_a_script() {
    # The shell finds no other program in the sandbox.
    printf '#!/bin/sh\nkill -STOP $$\n' >"$container_dir/script"
    container_install "$container_dir/script" /usr/libexec/notes/script 755
    edit 's#/worker#/script#'
}
fault_program_is_for_root() { run chmod 700 /usr/libexec/notes/worker; }
fault_folder_is_for_root() { run chmod 700 /usr/libexec/notes; }
fault_permission_is_misspelt() { edit 's/=Internet/=Internett/'; }
fault_permission_file_is_renamed() { run mv $permissions/Internet.permission $permissions/Internet.permission.old; }
fault_permission_file_is_secret() { run chmod 600 $permissions/Internet.permission; }
fault_base_permission_is_renamed() { run mv $permissions/BaseTask.permission $permissions/BaseTask.permission.old; }
fault_sandbox_is_not_executable() { run chmod a-x /usr/bin/firejail; }
fault_user_is_missing() { :; }
fault_caller_is_in_no_group() { run useradd outsider; }
fault_daemon_is_masked() { run systemctl mask orvane.service && run systemctl stop orvane.service; }
fault_daemon_has_no_policy() {
    run mv $bus_policy $bus_policy.old
    run systemctl reload dbus.service
    run systemctl stop orvane.service
}
fault_type_has_no_file() { run mv /usr/share/orvane/task-types/Sync.conf /usr/share/orvane/task-types/Other.conf; }
fault_entry_is_in_a_home() {
    run mkdir -p /root/.local/share/applications
    run mv $entry /root/.local/share/applications/
}
fault_unit_is_masked() { run ln -sf /dev/null "$(unit_file $task)" && run systemctl daemon-reload; }
fault_unit_has_changed() { run bash -c "echo '# by hand' >>$(unit_file $task)"; }
fault_policy_is_secret() { own_a_name && run chmod 600 "$(policy_file $index)"; }
fault_policy_is_for_another() { own_a_name && run sed -i 's/user="appuser"/user="nobody"/' "$(policy_file $index)"; }
fault_task_was_killed() {
    run systemctl kill --signal=KILL "$(unit_of $task)"
    wait_for 20 "the task to fail" unit_is $task failed
}
fault_task_was_started_too_often() {
    for _ in 1 2 3 4 5 6 7; do
        in_container systemctl restart "$(unit_of $task)" || break
    done >/dev/null 2>&1
    wait_for 20 "the task to fail" unit_is $task failed
}
fault_application_is_switched_off() { run orvanectl autostart disable com.example.Notes --user root; }
fault_entry_has_another_file_name() { run mv $entry $apps/notes.desktop; }
fault_launcher_is_masked() { run systemctl --global mask orvane-launcher.service; }

run() { in_container "$@" >/dev/null 2>&1 || fail "in the container: $*"; }
edit() { run sed -i "$1" $entry; }
own_a_name() {
    run orvanectl start $index --user appuser --own com.example.Notes.Index
    wait_for 20 "the name" bus_name_is_owned com.example.Notes.Index
}

scenario() {
    start_daemon
    run cp -a $permissions /root/permissions
    mend
    what_works_has_no_shut_gate
    what_was_stopped_has_no_shut_gate orvanectl stop $task
    what_was_stopped_has_no_shut_gate systemctl stop "$(unit_of $task)"
    faults
    echo "faults: $count"
    [ "$count" -ge 15 ] || fail "only $count faults"
}

# Restores everything, whatever the fault and its cure were.
mend() {
    run bash -c "
        rm -rf $apps/notes $apps/notes.desktop /usr/local/share/applications /root/.local \
            /usr/libexec/worker $entry.disabled $bus_policy.old $permissions
        cp -a /root/permissions $permissions
        chmod 755 /usr/libexec/notes /usr/bin/firejail
        [ ! -e $(unit_file $index) ] || orvanectl stop $index
        systemctl reset-failed"
    container_install_example
    run orvanectl autostart enable com.example.Notes --user root
    wait_for 60 "the task to start" starts
    wait_for 20 "the task to run" unit_is $task active
}
starts() { in_container orvanectl start $task --user appuser >/dev/null 2>&1; }

what_works_has_no_shut_gate() {
    why $task || fail "a task that runs has a gate that is shut: $said"
    expect_equal "gates that are not open" "$(jq -r '.gates[] | select(.answer != "yes").gate' <<<"$said")" ""
    why com.example.Notes || fail "an application that starts has a gate that is shut: $said"
    # The platform brings the service that starts applications.
    expect_equal "its gates that are not open" \
        "$(jq -r '.gates[] | select(.answer != "yes") | .gate + ": " + .answer' <<<"$said")" "per-user service: unknown"
}

# what_was_stopped_has_no_shut_gate COMMAND...: stops the task with the command. The command that why prints
# starts it.
what_was_stopped_has_no_shut_gate() {
    local start
    run "$@"
    wait_for 20 "the task to stop" is_stopped
    why $task --user appuser || fail "a task that was stopped has a gate that is shut: $said"
    start=$(jq -r .start <<<"$said")
    echo "stopped: $start"
    run bash -c "$start"
    wait_for 20 "the task to run" unit_is $task active
}
is_stopped() {
    [ "$(in_container orvanectl tasks --json | jq -r ".tasks[] | select(.task == \"$task\").state")" = stopped ]
}

# why ID [OPTION...]: asks with the command in the array "as", and sets "said".
as=()
why() { said=$(in_container "${as[@]}" orvanectl why "$@" --json); }

is_shut() { ! why "$@"; }

count=0
# examine FAULT GATE [QUESTION]: makes the fault, asks, runs the cure, asks again.
examine() {
    local fault=$1 gate=$2 about=$task options=() as=() cure
    case "$3" in
        "as "*) as=(setpriv "--reuid=${3#as }" "--regid=${3#as }" --init-groups) ;;
        "at home") as=(env HOME=/root) ;;
        "about "*) about=${3#about } ;;
        --*) read -ra options <<<"$3" ;;
    esac
    "fault_$fault"
    # The daemon waits for a while when files change one after another, and reads them together.
    wait_for 5 "$fault to be noticed" is_shut "$about" "${options[@]}" || fail "no gate is shut: $said"
    expect_equal "the gate of $fault" "$(jq -r .firstShut <<<"$said")" "$gate"
    cure=$(jq -r --arg gate "$gate" '.gates[] | select(.gate == $gate).cure' <<<"$said")
    echo "$fault: $cure"
    in_container bash -c "$cure" >"$container_dir/cure" 2>&1 </dev/null \
        || fail "$fault: the cure fails: $cure: $(cat "$container_dir/cure")"
    wait_for 20 "$fault to be cured by: $cure" is_open "$about" "$gate" "${options[@]}" || fail "$said"
    count=$((count + 1))
    [ "$about" != $task ] || expect_start "$fault" "${options[@]}"
    mend
}

# expect_start FAULT [--user USER]: the task can be started, by the same user.
expect_start() {
    local fault=$1
    shift
    [ $# -gt 0 ] || set -- --user appuser
    in_container systemctl stop "$(unit_of $task)" 2>/dev/null || true
    wait_for 60 "the task to start after $fault" in_container "${as[@]}" orvanectl start $task "$@" --wait >/dev/null
}

# is_open ID GATE [OPTION...]
is_open() {
    local gate=$2
    why "$1" "${@:3}" || true
    [ "$(jq -r --arg gate "$gate" '.gates[] | select(.gate == $gate).answer' <<<"$said")" = yes ]
}
