#compdef orvanectl
# Completion of orvanectl. Made of the tool's table of commands: change that, then run
# tst_generated_files with ORVANE_UPDATE_DOCS=1.

_orvanectl() {
    local -a commands=(
        'tasks:list tasks and their state'
        'show:show everything that is known of a task'
        'why:explain why a task or an application does not start'
        'start:start a task'
        'stop:stop a task and forget its start at boot'
        'watch:tell of each start and end of a task as it happens'
        'top:show what running tasks take'
        'history:show a task'\''s last runs'
        'types:list task types and who serves each'
        'render:show what a start would write, without starting'
        'lint:find what is wrong in declarations and settings'
        'autostart:show and change which applications start with a session'
        'handlers:list which applications open something, in order'
        'doctor:say whether a system has what Orvane needs'
    )
    if (( CURRENT == 2 )); then
        _describe command commands
        return
    fi
    local command=$words[2]
    shift words
    (( CURRENT-- ))
    case $command in
    tasks)
        _arguments \
            '--app[only tasks of this application]:app:{compadd -- ${(f)"$(orvanectl tasks 2>/dev/null | sed -n '\''2,$s/\.task_.*//p'\'' | sort -u)"}}' \
            '--type[only tasks of this type]:type:{compadd -- ${(f)"$(orvanectl types 2>/dev/null | sed -n '\''2,$s/ .*//p'\'')"}}' \
            '--running[only tasks that run]' \
            '--json[print JSON\: one object, or one on each line for what goes on]' \
            '--root[read the files of the system below DIR, an image for instance]:dir:_files' \
            '--no-pager[do not show long output page by page]' \
            '--help[print this help]' ;;
    show)
        _arguments \
            '1:task:{compadd -- ${(f)"$(orvanectl tasks 2>/dev/null | sed -n '\''2,$s/ .*//p'\'')"}}' \
            '--json[print JSON\: one object, or one on each line for what goes on]' \
            '--root[read the files of the system below DIR, an image for instance]:dir:_files' \
            '--no-pager[do not show long output page by page]' \
            '--help[print this help]' ;;
    why)
        _arguments \
            '1:id:{compadd -- ${(f)"$(orvanectl tasks 2>/dev/null | sed -n '\''2,$s/ .*//p'\'')"}}' \
            '--user[the user that the task is to run as or the application to start for, by name or number; else the one of the last start, and for an application you]:user:{compadd -- ${(f)"$(getent passwd | cut -d: -f1)"}}' \
            '--json[print JSON\: one object, or one on each line for what goes on]' \
            '--root[read the files of the system below DIR, an image for instance]:dir:_files' \
            '--no-pager[do not show long output page by page]' \
            '--help[print this help]' ;;
    start)
        _arguments \
            '1:task:{compadd -- ${(f)"$(orvanectl tasks 2>/dev/null | sed -n '\''2,$s/ .*//p'\'')"}}' \
            '--user[the user that the task runs as; a task of the system needs one]:user:{compadd -- ${(f)"$(getent passwd | cut -d: -f1)"}}' \
            '--at-boot[start it at each boot from now on, too]' \
            '--own[a name on the system bus that it may own]:name:' \
            '*--permission[a permission of the sandbox, besides those that it declares]:name:' \
            '*--param[a further argument of its program; one that begins with a dash as --param=-x]:word:' \
            '--homeless[give it no directories in the user'\''s home]' \
            '--weight[-1000 to 1000\: the higher, the sooner it is ended when memory runs out]:n:' \
            '--cpu-limit[processor time that it may take]:seconds:' \
            '*--set[a setting of its unit'\''s service section]:key=value:' \
            '*--env[a variable of its environment]:name=value:' \
            '--wait[wait until it has run for a second, or has ended or failed, and say how]' \
            '--json[print JSON\: one object, or one on each line for what goes on]' \
            '--root[read the files of the system below DIR, an image for instance]:dir:_files' \
            '--no-pager[do not show long output page by page]' \
            '--help[print this help]' ;;
    stop)
        _arguments \
            '1:task:{compadd -- ${(f)"$(orvanectl tasks 2>/dev/null | sed -n '\''2,$s/ .*//p'\'')"}}' \
            '--json[print JSON\: one object, or one on each line for what goes on]' \
            '--root[read the files of the system below DIR, an image for instance]:dir:_files' \
            '--no-pager[do not show long output page by page]' \
            '--help[print this help]' ;;
    watch)
        _arguments \
            '--type[only tasks of this type]:type:{compadd -- ${(f)"$(orvanectl types 2>/dev/null | sed -n '\''2,$s/ .*//p'\'')"}}' \
            '--json[print JSON\: one object, or one on each line for what goes on]' \
            '--root[read the files of the system below DIR, an image for instance]:dir:_files' \
            '--no-pager[do not show long output page by page]' \
            '--help[print this help]' ;;
    top)
        _arguments \
            '--interval[how long to wait before looking again; 2 without it]:seconds:' \
            '--json[print JSON\: one object, or one on each line for what goes on]' \
            '--root[read the files of the system below DIR, an image for instance]:dir:_files' \
            '--no-pager[do not show long output page by page]' \
            '--help[print this help]' ;;
    history)
        _arguments \
            '1:task:{compadd -- ${(f)"$(orvanectl tasks 2>/dev/null | sed -n '\''2,$s/ .*//p'\'')"}}' \
            '--last[how many runs at most; 20 without it]:n:' \
            '--json[print JSON\: one object, or one on each line for what goes on]' \
            '--root[read the files of the system below DIR, an image for instance]:dir:_files' \
            '--no-pager[do not show long output page by page]' \
            '--help[print this help]' ;;
    types)
        _arguments \
            '--json[print JSON\: one object, or one on each line for what goes on]' \
            '--root[read the files of the system below DIR, an image for instance]:dir:_files' \
            '--no-pager[do not show long output page by page]' \
            '--help[print this help]' ;;
    render)
        _arguments \
            '1:task:{compadd -- ${(f)"$(orvanectl tasks 2>/dev/null | sed -n '\''2,$s/ .*//p'\'')"}}' \
            '--user[the user that the task runs as; a task of the system needs one]:user:{compadd -- ${(f)"$(getent passwd | cut -d: -f1)"}}' \
            '--at-boot[start it at each boot from now on, too]' \
            '--own[a name on the system bus that it may own]:name:' \
            '*--permission[a permission of the sandbox, besides those that it declares]:name:' \
            '*--param[a further argument of its program; one that begins with a dash as --param=-x]:word:' \
            '--homeless[give it no directories in the user'\''s home]' \
            '--weight[-1000 to 1000\: the higher, the sooner it is ended when memory runs out]:n:' \
            '--cpu-limit[processor time that it may take]:seconds:' \
            '*--set[a setting of its unit'\''s service section]:key=value:' \
            '*--env[a variable of its environment]:name=value:' \
            '--origin[show beside each value where it comes from]' \
            '--json[print JSON\: one object, or one on each line for what goes on]' \
            '--root[read the files of the system below DIR, an image for instance]:dir:_files' \
            '--no-pager[do not show long output page by page]' \
            '--help[print this help]' ;;
    lint)
        _arguments \
            '*:path:_files' \
            '--strict[count warnings as errors]' \
            '--explain[tell what a rule finds and what to do about it]:rule:' \
            '--list-rules[list the rules]' \
            '--json[print JSON\: one object, or one on each line for what goes on]' \
            '--root[read the files of the system below DIR, an image for instance]:dir:_files' \
            '--no-pager[do not show long output page by page]' \
            '--help[print this help]' ;;
    autostart)
        _arguments \
            '1:action:(list enable disable explain)' \
            '2::app:{compadd -- ${(f)"$(orvanectl tasks 2>/dev/null | sed -n '\''2,$s/\.task_.*//p'\'' | sort -u)"}}' \
            '--user[the user, by name or number; you are meant without it]:user:{compadd -- ${(f)"$(getent passwd | cut -d: -f1)"}}' \
            '--all-users[the setting for all users]' \
            '--json[print JSON\: one object, or one on each line for what goes on]' \
            '--root[read the files of the system below DIR, an image for instance]:dir:_files' \
            '--no-pager[do not show long output page by page]' \
            '--help[print this help]' ;;
    handlers)
        _arguments \
            '1:uri|type:' \
            '--user[whose choice counts, by name or number; yours without it]:user:{compadd -- ${(f)"$(getent passwd | cut -d: -f1)"}}' \
            '--json[print JSON\: one object, or one on each line for what goes on]' \
            '--root[read the files of the system below DIR, an image for instance]:dir:_files' \
            '--no-pager[do not show long output page by page]' \
            '--help[print this help]' ;;
    doctor)
        _arguments \
            '--json[print JSON\: one object, or one on each line for what goes on]' \
            '--root[read the files of the system below DIR, an image for instance]:dir:_files' \
            '--no-pager[do not show long output page by page]' \
            '--help[print this help]' ;;
    esac
}

_orvanectl "$@"
