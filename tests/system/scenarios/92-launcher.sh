# shellcheck shell=bash
# In a real user session "--launcher" starts what the user wants started: applications through the
# service that launches them, links through xdg-open with the URL as its one argument.

url='https://example.com/?q=a b&c="$HOME";`id`%20\n'

prepare() {
    local applications=$container_dir/root/usr/share/applications
    {
        printf '[Desktop Entry]\nType=Link\nName=Page\n'
        printf 'URL=%s\n' "${url//\\/\\\\}"
    } >"$applications/com.example.Page.desktop"
    cat >"$container_dir/root/usr/bin/xdg-open" <<'SCRIPT'
#!/bin/sh
printf '%s:%s\n' "$#" "$1" >/tmp/opened
SCRIPT
    chmod 755 "$container_dir/root/usr/bin/xdg-open"
}

scenario() {
    start_daemon
    start_peer fake-user-service org.zarn.Orvane.User
    in_container systemctl start user@100000.service

    expect_equal "without anything to start" "$(launch)" ""
    set_enabled 100000 com.example.Notes true
    set_enabled 100000 com.example.Page true
    set_enabled 100001 com.example.Other true
    set_enabled 100000 enabledMode true
    local log
    log=$(launch)
    expect_match "what it logs" "$log" \
        "*static bool Autostart::Launcher::launchApplications(): couldn't autostart: \"enabledMode\"  with the app ID of:  \"\""
    wait_for 20 "the link to be opened" in_container test -s /tmp/opened
    expect_equal "what xdg-open was given" "$(in_container cat /tmp/opened)" "1:$url"
    expect_equal "what the service was asked for" \
        "$(in_container journalctl -o cat -t fake-user-service --no-pager | sort)" \
        "Start"$'\n'"Start com.example.Notes"
}

# Runs the launcher in the session of appuser, as a unit whose end does not end what it started; prints what it logs, but for the user manager that the
# container has none of.
launch() {
    in_container setpriv --reuid=appuser --regid=appuser --init-groups \
        env HOME=/home/appuser XDG_RUNTIME_DIR=/run/user/100000 \
        systemd-run --user --quiet --wait --pipe -p KillMode=process /usr/libexec/orvane --launcher 2>&1 \
        | grep -v "couldn't get available users list:"
    [ "${PIPESTATUS[0]}" -eq 0 ] || fail "the launcher's status is not 0"
}
