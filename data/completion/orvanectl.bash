# Completion of orvanectl. Generated from the tool's table of commands: change that, then run
# tst_generated_files with ORVANE_UPDATE_DOCS=1.
# shellcheck shell=bash

_orvanectl() {
    local words='' files='' current=${COMP_WORDS[COMP_CWORD]}
    if [ "$COMP_CWORD" -eq 1 ]; then
        words='tasks show why start stop watch top history types render lint autostart handlers doctor --help --version'
    else
        _orvanectl_words "${COMP_WORDS[1]}" "${COMP_WORDS[COMP_CWORD - 1]}" "$current"
    fi
    if [ -n "$files" ]; then
        compopt -o filenames 2>/dev/null
        mapfile -t COMPREPLY < <(compgen -f -- "$current")
    else
        mapfile -t COMPREPLY < <(compgen -W "$words" -- "$current")
    fi
}

# _orvanectl_words COMMAND PREVIOUS CURRENT: the completions of CURRENT.
_orvanectl_words() {
    case "$1 $2" in
    'tasks --app') words=$(orvanectl tasks 2>/dev/null | sed -n '2,$s/\.task_.*//p' | sort -u) ;;
    'tasks --type') words=$(orvanectl types 2>/dev/null | sed -n '2,$s/ .*//p') ;;
    'why --user') words=$(getent passwd | cut -d: -f1) ;;
    'start --user') words=$(getent passwd | cut -d: -f1) ;;
    'start --own') ;;
    'start --permission') ;;
    'start --param') ;;
    'start --weight') ;;
    'start --cpu-limit') ;;
    'start --set') ;;
    'start --env') ;;
    'watch --type') words=$(orvanectl types 2>/dev/null | sed -n '2,$s/ .*//p') ;;
    'top --interval') ;;
    'history --last') ;;
    'render --user') words=$(getent passwd | cut -d: -f1) ;;
    'render --own') ;;
    'render --permission') ;;
    'render --param') ;;
    'render --weight') ;;
    'render --cpu-limit') ;;
    'render --set') ;;
    'render --env') ;;
    'lint --explain') ;;
    'autostart --user') words=$(getent passwd | cut -d: -f1) ;;
    'handlers --user') words=$(getent passwd | cut -d: -f1) ;;
    *' --root') files=yes ;;
    *) _orvanectl_free "$@" ;;
    esac
}

# The same, when PREVIOUS is not an option that takes a value.
_orvanectl_free() {
    case "$1 $2 $3" in
    'tasks '*' -'*) words='--app --type --running --json --root --no-pager --help' ;;
    'show '*' -'*) words='--json --root --no-pager --help' ;;
    'show '*) words=$(orvanectl tasks 2>/dev/null | sed -n '2,$s/ .*//p') ;;
    'why '*' -'*) words='--user --json --root --no-pager --help' ;;
    'why '*) words=$(orvanectl tasks 2>/dev/null | sed -n '2,$s/ .*//p') ;;
    'start '*' -'*) words='--user --at-boot --own --permission --param --homeless --weight --cpu-limit --set --env --wait --json --root --no-pager --help' ;;
    'start '*) words=$(orvanectl tasks 2>/dev/null | sed -n '2,$s/ .*//p') ;;
    'stop '*' -'*) words='--json --root --no-pager --help' ;;
    'stop '*) words=$(orvanectl tasks 2>/dev/null | sed -n '2,$s/ .*//p') ;;
    'watch '*' -'*) words='--type --json --root --no-pager --help' ;;
    'top '*' -'*) words='--interval --json --root --no-pager --help' ;;
    'history '*' -'*) words='--last --json --root --no-pager --help' ;;
    'history '*) words=$(orvanectl tasks 2>/dev/null | sed -n '2,$s/ .*//p') ;;
    'types '*' -'*) words='--json --root --no-pager --help' ;;
    'render '*' -'*) words='--user --at-boot --own --permission --param --homeless --weight --cpu-limit --set --env --origin --json --root --no-pager --help' ;;
    'render '*) words=$(orvanectl tasks 2>/dev/null | sed -n '2,$s/ .*//p') ;;
    'lint '*' -'*) words='--strict --explain --list-rules --json --root --no-pager --help' ;;
    'lint '*) files=yes ;;
    'autostart '*' -'*) words='--user --all-users --json --root --no-pager --help' ;;
    'autostart autostart '*) words=$(echo list enable disable explain) ;;
    'autostart '*) words=$(orvanectl tasks 2>/dev/null | sed -n '2,$s/\.task_.*//p' | sort -u) ;;
    'handlers '*' -'*) words='--user --json --root --no-pager --help' ;;
    'doctor '*' -'*) words='--json --root --no-pager --help' ;;
    esac
}

complete -F _orvanectl orvanectl
