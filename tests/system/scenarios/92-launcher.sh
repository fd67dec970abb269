# shellcheck shell=bash
# At the start of a real user session the shipped unit starts the user's autostart applications, once:
# applications through the service that launches them, links through xdg-open with the URL as its only
# argument. What it has started runs on.

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
exec sleep 4711
SCRIPT
    chmod 755 "$container_dir/root/usr/bin/xdg-open"
}

scenario() {
    start_daemon
    start_peer fake-user-service org.zarn.Orvane.User
    session_starts
    expect_equal "what it logs without anything to start" "$(launcher_log)" ""
    in_container systemctl stop user@100000.service

    set_enabled 100000 com.example.Notes true
    set_enabled 100000 com.example.Page true
    set_enabled 100001 com.example.Other true
    set_enabled 100000 enabledMode true
    session_starts
    expect_match "what it logs" "$(launcher_log)" \
        "*static bool Autostart::Launcher::launchApplications(): couldn't autostart: \"enabledMode\"  with the app ID of:  \"\""
    wait_for 20 "the link to be opened" in_container test -s /tmp/opened
    expect_equal "what xdg-open was given" "$(in_container cat /tmp/opened)" "1:$url"
    expect_equal "what the service was asked for" "$(asked_for)" "Start"$'\n'"Start com.example.Notes"
    wait_for 20 "what was opened to live on" in_container pgrep -u appuser -f '^sleep 4711$' >/dev/null

    # Nothing is started a second time in the same session.
    as_appuser systemctl --user start default.target
    expect_equal "what the service was asked for in all" "$(asked_for)" \
        "Start"$'\n'"Start com.example.Notes"
}

as_appuser() {
    in_container setpriv --reuid=appuser --regid=appuser --init-groups \
        env HOME=/home/appuser XDG_RUNTIME_DIR=/run/user/100000 "$@"
}

# Starts the service manager of the user appuser, as a login does.
session_starts() {
    in_container systemctl start user@100000.service
    wait_for 20 "the launcher to have done its work" launcher_is_done
    expect_equal "how the launcher ended" \
        "$(as_appuser systemctl --user show --value -p Result -p ExecMainStatus orvane-launcher.service)" \
        success$'\n'0
}

launcher_is_done() {
    [ "$(as_appuser systemctl --user show --value -p SubState orvane-launcher.service)" = exited ]
}

# Without the line about the user manager, which the container does not have.
launcher_log() {
    in_container journalctl --sync
    in_container journalctl --no-pager -o cat -t orvane _UID=100000 \
        | grep -v "couldn't get available users list:" || true
}

asked_for() {
    in_container journalctl --sync
    in_container journalctl -o cat -t fake-user-service --no-pager | sort
}
