#compdef orvanectl
# Completion of orvanectl. Generated from the tool's table of commands: change that, then run
# tst_generated_files with ORVANE_UPDATE_DOCS=1.

_orvanectl() {
    local -a commands=(
        'tasks:list tasks and their state'
        'show:show everything that is known about a task'
        'why:explain why a task or an application does not start'
        'start:start a task'
        'stop:stop a task and no longer start it at boot'
        'watch:print each start and end of a task as it happens'
        'top:show the processor and memory use of running tasks'
        'history:show a task'\''s last runs'
        'types:list task types and who serves each'
        'render:show what a start would write, without starting'
        'lint:find faults in declarations and settings'
        'autostart:show and change which applications start with a session'
        'handlers:list the applications that open a URI or type, best first'
        'doctor:check whether a system has what Orvane needs'
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
            '--json[print JSON\: one object, or one per line for output that continues]' \
            '--root[read the files of the system below DIR, for example of an image]:dir:_files' \
            '--no-pager[do not pipe long output into a pager]' \
            '--help[print this help]' ;;
    show)
        _arguments \
            '1:task:{compadd -- ${(f)"$(orvanectl tasks 2>/dev/null | sed -n '\''2,$s/ .*//p'\'')"}}' \
            '--json[print JSON\: one object, or one per line for output that continues]' \
            '--root[read the files of the system below DIR, for example of an image]:dir:_files' \
            '--no-pager[do not pipe long output into a pager]' \
            '--help[print this help]' ;;
    why)
        _arguments \
            '1:id:{compadd -- ${(f)"$(orvanectl tasks 2>/dev/null | sed -n '\''2,$s/ .*//p'\'')"}}' \
            '--user[the user that the task is to run as or the application to start for, by name or number; default\: for a task the user of its last start, for an application you]:user:{compadd -- ${(f)"$(getent passwd | cut -d: -f1)"}}' \
            '--json[print JSON\: one object, or one per line for output that continues]' \
            '--root[read the files of the system below DIR, for example of an image]:dir:_files' \
            '--no-pager[do not pipe long output into a pager]' \
            '--help[print this help]' ;;
    start)
        _arguments \
            '1:task:{compadd -- ${(f)"$(orvanectl tasks 2>/dev/null | sed -n '\''2,$s/ .*//p'\'')"}}' \
            '--user[the user that the task runs as; required for a task of the system]:user:{compadd -- ${(f)"$(getent passwd | cut -d: -f1)"}}' \
            '--at-boot[also start it at each boot from now on]' \
            '--own[a name on the system bus that it may own]:name:' \
            '*--permission[a permission of the sandbox; those in the entry are not granted by themselves]:name:' \
            '*--param[a further argument of its program; if it begins with a dash, write --param=-x]:word:' \
            '--homeless[give it no directories in the user'\''s home]' \
            '--weight[-1000 to 1000\: the higher, the sooner it is killed when memory runs out]:n:' \
            '--cpu-limit[processor time that it may use]:seconds:' \
            '*--set[a setting of its unit'\''s service section]:key=value:' \
            '*--env[a variable of its environment]:name=value:' \
            '--wait[wait until it has run for a second, ended or failed, and report which]' \
            '--json[print JSON\: one object, or one per line for output that continues]' \
            '--root[read the files of the system below DIR, for example of an image]:dir:_files' \
            '--no-pager[do not pipe long output into a pager]' \
            '--help[print this help]' ;;
    stop)
        _arguments \
            '1:task:{compadd -- ${(f)"$(orvanectl tasks 2>/dev/null | sed -n '\''2,$s/ .*//p'\'')"}}' \
            '--json[print JSON\: one object, or one per line for output that continues]' \
            '--root[read the files of the system below DIR, for example of an image]:dir:_files' \
            '--no-pager[do not pipe long output into a pager]' \
            '--help[print this help]' ;;
    watch)
        _arguments \
            '--type[only tasks of this type]:type:{compadd -- ${(f)"$(orvanectl types 2>/dev/null | sed -n '\''2,$s/ .*//p'\'')"}}' \
            '--json[print JSON\: one object, or one per line for output that continues]' \
            '--root[read the files of the system below DIR, for example of an image]:dir:_files' \
            '--no-pager[do not pipe long output into a pager]' \
            '--help[print this help]' ;;
    top)
        _arguments \
            '--interval[the time between refreshes; default\: 2]:seconds:' \
            '--json[print JSON\: one object, or one per line for output that continues]' \
            '--root[read the files of the system below DIR, for example of an image]:dir:_files' \
            '--no-pager[do not pipe long output into a pager]' \
            '--help[print this help]' ;;
    history)
        _arguments \
            '1:task:{compadd -- ${(f)"$(orvanectl tasks 2>/dev/null | sed -n '\''2,$s/ .*//p'\'')"}}' \
            '--last[show at most N runs; default\: 20]:n:' \
            '--json[print JSON\: one object, or one per line for output that continues]' \
            '--root[read the files of the system below DIR, for example of an image]:dir:_files' \
            '--no-pager[do not pipe long output into a pager]' \
            '--help[print this help]' ;;
    types)
        _arguments \
            '--json[print JSON\: one object, or one per line for output that continues]' \
            '--root[read the files of the system below DIR, for example of an image]:dir:_files' \
            '--no-pager[do not pipe long output into a pager]' \
            '--help[print this help]' ;;
    render)
        _arguments \
            '1:task:{compadd -- ${(f)"$(orvanectl tasks 2>/dev/null | sed -n '\''2,$s/ .*//p'\'')"}}' \
            '--user[the user that the task runs as; required for a task of the system]:user:{compadd -- ${(f)"$(getent passwd | cut -d: -f1)"}}' \
            '--at-boot[also start it at each boot from now on]' \
            '--own[a name on the system bus that it may own]:name:' \
            '*--permission[a permission of the sandbox; those in the entry are not granted by themselves]:name:' \
            '*--param[a further argument of its program; if it begins with a dash, write --param=-x]:word:' \
            '--homeless[give it no directories in the user'\''s home]' \
            '--weight[-1000 to 1000\: the higher, the sooner it is killed when memory runs out]:n:' \
            '--cpu-limit[processor time that it may use]:seconds:' \
            '*--set[a setting of its unit'\''s service section]:key=value:' \
            '*--env[a variable of its environment]:name=value:' \
            '--origin[show where each value comes from]' \
            '--json[print JSON\: one object, or one per line for output that continues]' \
            '--root[read the files of the system below DIR, for example of an image]:dir:_files' \
            '--no-pager[do not pipe long output into a pager]' \
            '--help[print this help]' ;;
    lint)
        _arguments \
            '*:path:_files' \
            '--strict[count warnings as errors]' \
            '--explain[show what a rule finds and what to do about it]:rule:' \
            '--list-rules[list the rules]' \
            '--json[print JSON\: one object, or one per line for output that continues]' \
            '--root[read the files of the system below DIR, for example of an image]:dir:_files' \
            '--no-pager[do not pipe long output into a pager]' \
            '--help[print this help]' ;;
    autostart)
        _arguments \
            '1:action:(list enable disable explain)' \
            '2::app:{compadd -- ${(f)"$(orvanectl tasks 2>/dev/null | sed -n '\''2,$s/\.task_.*//p'\'' | sort -u)"}}' \
            '--user[the user, by name or number; default\: you]:user:{compadd -- ${(f)"$(getent passwd | cut -d: -f1)"}}' \
            '--all-users[the setting for all users]' \
            '--json[print JSON\: one object, or one per line for output that continues]' \
            '--root[read the files of the system below DIR, for example of an image]:dir:_files' \
            '--no-pager[do not pipe long output into a pager]' \
            '--help[print this help]' ;;
    handlers)
        _arguments \
            '1:uri|type:' \
            '--user[the user whose choices count, by name or number; default\: you]:user:{compadd -- ${(f)"$(getent passwd | cut -d: -f1)"}}' \
            '--json[print JSON\: one object, or one per line for output that continues]' \
            '--root[read the files of the system below DIR, for example of an image]:dir:_files' \
            '--no-pager[do not pipe long output into a pager]' \
            '--help[print this help]' ;;
    doctor)
        _arguments \
            '--json[print JSON\: one object, or one per line for output that continues]' \
            '--root[read the files of the system below DIR, for example of an image]:dir:_files' \
            '--no-pager[do not pipe long output into a pager]' \
            '--help[print this help]' ;;
    esac
}

_orvanectl "$@"
