# shellcheck shell=bash
# Callers of three kinds make every call that the daemon offers. The outcome is in the page on security: with
# ORVANE_UPDATE_DOCS=1 it is written into the page, otherwise it must be the same as in the page.

page=$container_source/docs/security.md
begin='<!-- Written by tests/system/scenarios/65-who-may-do-what.sh; do not edit. -->'
end='<!-- End of what is written. -->'

scenario() {
    in_container useradd --groups privileged member
    in_container useradd outsider
    start_peer fake-user-service org.zarn.Orvane.User
    container_install "$ORVANE_BIN/permission-probe" /usr/local/bin/permission-probe 755
    start_daemon

    local user
    for user in root member outsider; do
        probe_as $user >"$container_dir/may-$user" || fail "the probe as $user"
    done
    {
        echo "| call | root | member of \`privileged\` | anybody else |"
        echo "|---|---|---|---|"
        paste "$container_dir"/may-{root,member,outsider} \
            | awk -F '\t' '{ name = $1 ~ /^org\./ ? "`" $1 "`" : $1; print "| " name " | " $2 " | " $4 " | " $6 " |" }'
    } >"$container_dir/table"

    # These must hold whatever the page says.
    expect_equal "what root may not do" "$(grep -c $'\tno' "$container_dir/may-root" || true)" 0
    expect_denied member "own the name" 'OnRemove'
    expect_denied outsider "own the name" 'OnRemove' '\.Start' '\.Stop' '\.CloseSession' '\.SetEnabled'
    if [ "${ORVANE_UPDATE_DOCS:-0}" = 1 ]; then
        update_page
    fi
    expect_equal "the table in ${page##*/}" "$(sed -n "\\#^$begin#,\\#^$end#p" "$page" | sed '1d;$d')" \
        "$(cat "$container_dir/table")"
}

probe_as() {
    in_container setpriv --reuid="$1" --regid="$(in_container id -g "$1")" --init-groups \
        /usr/local/bin/permission-probe
}

# expect_denied USER PATTERN...: exactly the calls that match one of the patterns are refused to this user.
expect_denied() {
    local user=$1 patterns
    shift
    patterns=$(IFS='|'; echo "$*")
    expect_equal "what $user may not do" "$(grep $'\tno' "$container_dir/may-$user" | cut -f 1)" \
        "$(cut -f 1 "$container_dir/may-$user" | grep -E "$patterns")"
}

update_page() {
    sed -i -e "\\#^$begin#,\\#^$end#{\\#^$begin#r $container_dir/table" -e "\\#^$begin#b" -e "\\#^$end#b" -e 'd}' \
        "$page"
}
