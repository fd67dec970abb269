# shellcheck shell=bash
# Packages of applications ship entries that try to break out of their line or of the sandbox, to be another
# application or the system, to be huge or to be very many. The tasks of other applications are still listed
# and can be started.

applications=/usr/share/applications
worker=/usr/libexec/notes/worker
honest=com.example.Notes.task_sync
outside=/run/outside

prepare() {
    declare_task Opens com.example Opens "$worker\" --noprofile $worker sync"
    declare_task Second com.example Second "$worker sync ; +/usr/bin/touch $outside"
    declare_task Closing com.example Closing "$worker sync \\\\"
    declare_task Bins com.example Bins "$worker,sh sync"
    declare_task Escapes com.example Escapes "$worker\\nExecStartPre=+/usr/bin/touch $outside"
    declare_task System org freedesktop "$worker sync"
    declare_task Parent .. x "$worker sync"
    declare_task Slash com.example/.. x "$worker sync"
    declare_task Line 'com.example\nUser=root' Line "$worker sync"
    declare_task Blank com.example 'Blank --noprofile' "$worker sync"
}

scenario() {
    start_daemon
    register >/dev/null
    remember_system
    nothing_leaves_its_place
    packages_that_are_large
}

# declare_task FILE ORGANISATION NAME EXEC: an application with one task, "sync".
declare_task() {
    printf '[Desktop Entry]\nType=Application\nName=P\nExec=/usr/bin/p\n%s\n%s\n%s\n%s\n%s\n%s\n' \
        '[X-Application]' "OrganizationName=$2" "ApplicationName=$3" \
        '[X-Task sync]' Type=Sync "Exec=$4" >"$container_dir/root$applications/$1.desktop"
}

nothing_leaves_its_place() {
    local id
    available >"$container_dir/available"
    while read -r id; do
        [ "$id" = "$honest" ] || [ "$id" = com.example.Notes.task_index ] || refuse_to_start "$id"
    done <"$container_dir/available"
    # Each entry has one task, and the honest application has two. An entry without a valid id may be left
    # out.
    [ "$(wc -l <"$container_dir/available")" -ge 8 ] || fail "the hostile applications are not listed"
    expect_no_file $outside
}

available() {
    in_container busctl --json=short get-property org.zarn.Orvane $session \
        org.zarn.Orvane.TaskInvokerSession1 AvailableTasks | jq -r '.data[][0] | @json' \
        | jq -r 'gsub("\n"; " ")'
}

refuse_to_start() {
    withstand "a start of $1" start_is_refused "$1"
}

start_is_refused() {
    ! start_task "$1" User s appuser >"$container_dir/answer" 2>&1 || fail "$1 started"
    expect_match "the answer to Start of $1" "$(cat "$container_dir/answer")" "Call failed: *"
}

# The daemon has to read these files without running into their traps.
packages_that_are_large() {
    lay_large_packages
    in_container systemctl restart orvane.service
    register >/dev/null
    remember_system
    expect_equal "the application that was named like another" "$(identity_of_notes)" "$worker sync"
    withstand "a list of everything that packages declare" list_everything
    withstand "a start of another application's task" honest_task_starts
}

lay_large_packages() {
    local number package
    # A program that deserialises these bytes crashes.
    package=/opt/app/com.example.Variant/current
    declare_task Variant com.example Variant "$worker sync"
    lay "$package/halcyn.pkg" <<<$'[certificate]\nid=@Variant(\\0\\0\\0\\x7f\\0\\0\\0\\x5QUrl\\0\\xff\\xff\\xff\\xfe)'
    declare_task Sparse com.example Sparse "$worker sync"
    lay /opt/app/com.example.Sparse/current/manifest.json </dev/null
    truncate -s 1500M "$container_dir/root/opt/app/com.example.Sparse/current/manifest.json"
    lay /opt/app/com.example.Sparse/current/halcyn.pkg </dev/null
    truncate -s 1500M "$container_dir/root/opt/app/com.example.Sparse/current/halcyn.pkg"
    for number in {1..40}; do
        declare_task "Full$number" com.example "Full$number" "$worker sync"
        permissions 90000 >>"$container_dir/root$applications/Full$number.desktop"
    done
    declare_many_tasks 10000
    declare_mime_types
    # The first file with a name would be used.
    declare_task aaa com.example Notes "$worker other"
}

# lay PATH: writes the input into a file.
lay() {
    mkdir -p "$container_dir/root${1%/*}"
    cat >"$container_dir/root$1"
}

# permissions COUNT
permissions() {
    awk -v count="$1" 'BEGIN { printf "Permissions="; while (count-- > 0) printf "Permission;"; print "" }'
}

declare_many_tasks() {
    declare_task Many com.example Many "$worker sync"
    seq "$1" | awk '{ printf "[X-Task t%d]\nType=Sync\nExec=/usr/libexec/notes/worker t\n", $1 }' \
        >>"$container_dir/root$applications/Many.desktop"
}

declare_mime_types() {
    {
        printf '[Desktop Entry]\nType=Application\nName=M\nExec=/usr/bin/m\nMimeType='
        seq 40000 | awk '{ printf "a/b%d;", $1 }'
        printf '\n[X-Application]\nOrganizationName=com.example\nApplicationName=Mime\n'
    } | lay $applications/Mime.desktop
}

identity_of_notes() {
    start_task $honest User s appuser >/dev/null
    in_container systemctl cat "$(unit_of $honest)" | sed -n 's/^ExecStart=.* -- //p'
    stop_task $honest >/dev/null
}

list_everything() {
    available >"$container_dir/available"
    grep -qx $honest "$container_dir/available" || fail "$honest is not listed"
    grep -qx com.example.Variant.task_sync "$container_dir/available" || fail "Variant's task is not listed"
    grep -qx com.example.Sparse.task_sync "$container_dir/available" || fail "Sparse's task is not listed"
}

honest_task_starts() {
    expect_equal "the answer to Start" "$(start_task $honest User s appuser)" "i 0"
    wait_for 20 "the task to be listed" is_listed $honest
    stop_task $honest >/dev/null
    wait_for 20 "the task to end" is_not_listed $honest
    wait_for 20 "the worker to end" no_worker_runs
}

no_worker_runs() { ! in_container pgrep -x worker >/dev/null; }
