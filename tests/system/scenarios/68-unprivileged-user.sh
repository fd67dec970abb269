# shellcheck shell=bash
# A local user without any rights sends everything that the bus lets through: huge messages, calls that are
# never answered, very many sessions and connections, descriptors, and paths as task types. Meanwhile the
# daemon serves others, and afterwards nothing is left of the attack.

prepare() {
    container_install "$ORVANE_BIN/unprivileged-user" /usr/local/bin/unprivileged-user 755
    # Every user can create such files.
    mkdir "$container_dir/root/home/u"
    mkfifo "$container_dir/root/home/u/pipe.conf"
    printf '[TaskType]\nWorksInSession=@Variant(\\0\\0\\0\\x7f\\0\\0\\0\\x5QUrl\\0\\xff\\xff\\xff\\xfe)\n' \
        >"$container_dir/root/home/u/variant.conf"
    truncate -s 1500M "$container_dir/root/home/u/sparse.conf"
    chmod -R a+rX "$container_dir/root/home/u"
}

scenario() {
    in_container useradd outsider
    start_daemon
    register >/dev/null
    remember_system

    local method
    for method in register get forwarded; do
        withstand "four huge calls of $method" attack huge $method
    done
    withstand "four huge calls of one that left" attack leave get
    withstand "a thousand sessions" expect_answer 0 attack sessions 1000
    withstand "250 connections" connections_without_number
    withstand "descriptors in all places" attack descriptors 1000
    with_a_user_service
    one_message_too_large
    types_that_are_paths
}

attack() { as outsider timeout 60 unprivileged-user "$@"; }

# expect_answer TEXT CMD...
expect_answer() {
    local expected=$1
    shift
    expect_equal "what came of $*" "$("$@")" "$expected"
}

# The bus allows a user 256 connections. Each user has their own limit.
connections_without_number() {
    expect_answer 128 attack connections 250
    as nobody timeout 20 unprivileged-user sessions 1 >/dev/null
}

with_a_user_service() {
    start_peer hostile-user-service org.zarn.Orvane.User
    remember_system
    withstand "four huge calls that wait for the user service" attack huge forwarded
    withstand "sessions of the user service" expect_answer 256 attack paths 1000
    withstand "slow calls of clients that left" slow_calls
    in_container systemctl stop hostile-user-service
}

slow_calls() {
    for _ in 1 2 3; do
        attack slow 100
    done
    # Other users' calls are still accepted.
    as nobody timeout 20 busctl call org.zarn.Orvane /org/zarn/Orvane/Control1 org.zarn.Orvane.Control1 Pid \
        >/dev/null || fail "nobody gets through to the user service"
}

one_message_too_large() {
    : >"$container_dir/watch.log"
    in_container orvane-watch Sync >>"$container_dir/watch.log" 2>&1 &
    wait_for 20 "a client to be registered" grep -q ^session "$container_dir/watch.log"
    remember_system
    withstand_an_end "an answer over the bus's limit" attack oversize
    # The client need not register again.
    expect_match "the session of the client that had one" "$(active_tasks)" 'a(sia{sv}) 0'
    # This happens without a call.
    attack oversize
    wait_for 30 "the service manager to start it again" daemon_runs_again
    in_container pkill -x orvane-watch
}

daemon_runs_again() { daemon_is active && [ "$(main_pid)" != "$remembered_pid" ]; }

types_that_are_paths() {
    register >/dev/null
    remember_system
    # The daemon opens none of the files: to it these are unknown types.
    local unknown=org.freedesktop.DBus.Error.ServiceUnknown home=../../../../home/u
    withstand "types that are paths" expect_answer \
        "$(printf "%s $unknown\n" ./Sync .//Sync $home/pipe $home/variant $home/sparse)" \
        attack types ./Sync .//Sync $home/pipe $home/variant $home/sparse
}
