# What card and terminal say, as the dashboard prints it, and the line that is told of each exchange. Sourced by
# tools/tour.

line="" part=""        # of the session that has been read last
text="" bytes=""       # of it
command="" shown="" did=""
exchanges=0 pictures=0
at_main_menu=""
declare -A pictured=() # menus that have their picture

open_session() { exec {session_fd}<"$session"; }

# Reads the next line of the session. False: there is none yet.
next_line() {
    local piece=""
    if IFS= read -r piece <&"$session_fd"; then
        line="$part$piece" part=""
        return 0
    fi
    part+="$piece"
    return 1
}

# expect BEGINNING: the next thing that card, terminal or user say. What the host says is passed over, unless it is
# what is expected.
expect() {
    local deadline=$((SECONDS + limit))
    while true; do
        while next_line; do
            text="${line% | *}" bytes="${line##* | }"
            case "$line" in
                "$1"*) return ;;
                "card asks: "* | "answer: "* | "envelope: "* | "note: "*) fail "instead of '$1' there was '$text'" ;;
            esac
        done
        still_runs "$1"
        ((SECONDS < deadline)) || fail "in $limit s there was no: $1"
        sleep 0.03
    done
}

# --- telling ---------------------------------------------------------------------------------------------------------

say() { printf '     %s\n' "$1"; }
heading() { printf '\n%s\n' "$1"; }

# tell MEANING: the exchange that is over, in one line
tell() {
    exchanges=$((exchanges + 1))
    printf '%3d. %s | shown: %s | user: %s | %s | %s\n' "$exchanges" "$command" "$shown" "$did" "$bytes" "$1"
    command="" shown="nothing" did="nothing"
}

# The command's name as part of a file's name.
slug() {
    local words="${command%%[^A-Z ]*}"
    words="${words% }"
    words="${words,,}"
    echo "${words// /-}"
}

# --- the card --------------------------------------------------------------------------------------------------------

# asks BEGINNING: the card's next command
asks() {
    expect "card asks: $1"
    command="${text#card asks: }" shown="nothing" did="nothing"
}

# answers BEGINNING: the terminal's response to it, which ends the exchange
answers() {
    expect "answer: $1"
    tell "${text#answer: *: }"
}

# --- what the card's commands bring about -----------------------------------------------------------------------------

# sees WHAT CONDITION...: a window for the card's command, and its picture
sees() {
    shown="$1"
    shift
    wait_for "$shown" "$@"
    picture "$(slug)"
}

# SELECT ITEM: the menu with this title
menu() {
    asks "SELECT ITEM \"$1\""
    shown="menu \"$1\"" at_main_menu=""
    wait_for "$shown" sees_menu "$1"
    [[ -n "${pictured["$1"]:-}" ]] || picture select-item
    pictured["$1"]=yes
}

# The session is over, and the window is back at the main menu.
main_menu() {
    wait_for "end of the session" session_is_over
    wait_for "main menu" sees_menu "Aurora Mobile"
    shown='menu "Aurora Mobile"' at_main_menu=yes answered=""
}

# The row in which the window has put this item; the plug-in's log tells.
finds_row() {
    row="$(item="Item name = $1, Index=" awk '
        /^Start of .*STKDialog: deleteTableItems:/ { rows = found = 0 }
        /^Item name = / { rows++; if (index($0, ENVIRON["item"]) == 1) found = rows }
        END { print found + 0 }' "$debug")"
    ((row > 0))
}

# choose ITEM [double|select|return]: with a double click, or with a click and the button or the key
choose() {
    local row
    wait_for "row '$1' in the menu" finds_row "$1"
    sessions="$(ends_of onSTKEndSession)" waits=$((waits + 1))
    case "${2:-double}" in
        double) did="double-clicks '$1'"; double_click_row "$row" ;;
        select) did="clicks '$1' and Select"; click_row "$row"; click_at "$select_x" "$menu_buttons_y" ;;
        return) did="clicks '$1' and presses Return"; click_row "$row"; key Return ;;
    esac
    if [[ -n "$at_main_menu" ]]; then
        command="(main menu)"
        expect "envelope: MENU SELECTION \"$1\""
        tell "${text#envelope: }"
    else
        answers "SELECT ITEM: 00 command performed successfully, \"$1\""
    fi
    at_main_menu=""
}

# Back from a sub-menu, to the menu with this title.
back() {
    did="clicks Back" waits=$((waits + 1))
    click_at "$back_x" "$menu_buttons_y"
    answers "SELECT ITEM: 11"
    [[ -z "${1:-}" ]] || menu "$1"
}

# DISPLAY TEXT that begins so, and what the user does: ok, keys (OK with the keyboard), cancel, cross, waits
display() {
    asks "DISPLAY TEXT \"$1"
    sees "text" sees_box
    answered="$window"
    case "${2:-ok}" in
        ok) did="clicks OK"; click_first_button; answers "DISPLAY TEXT: 00" ;;
        keys) did="goes to OK with Tab and presses Space"; key Tab space; answers "DISPLAY TEXT: 00" ;;
        cancel) did="presses Return, which is Cancel"; key Return; answers "DISPLAY TEXT: 10" ;;
        cross) did="closes it with its cross"; click_at $((width - 16)) 12; answers "DISPLAY TEXT: 10" ;;
        waits) did="waits until it goes"; picture display-text-counts-down; answers "DISPLAY TEXT: 00" ;;
    esac
}

# DISPLAY TEXT that is answered before the user has read it.
display_answered_at_once() {
    asks "DISPLAY TEXT \"$1"
    did="has not read it yet"
    answers "DISPLAY TEXT: 00"
    wait_for "text" sees_box
    picture display-text-answered-at-once
    answered="$window"
    click_first_button
}

# GET INKEY, yes or no: with this text.
question() {
    asks "GET INKEY \"$1"
    sees "question" sees_box
    answered="$window" did="clicks ${2^}" waits=$((waits + 1))
    if [[ "$2" == yes ]]; then click_first_button; else click_second_button; fi
    answers "GET INKEY: 00 command performed successfully, $2"
}

# input COMMAND TEXT TYPED: GET INPUT or GET INKEY with this text; nothing typed takes what the card suggests
input() {
    local with=""
    asks "$1 \"$2"
    wait_for "input window" sees_input
    shown="input window" did="types '$3' and clicks OK" answered="$window"
    [[ -n "$3" ]] || did="takes the suggestion and clicks OK"
    [[ "$command" != *", hidden"* ]] || did="types the digits and clicks OK"
    type_text "$3"
    picture "$(slug)"
    press_ok
    [[ -z "$3" || "$command" == *", hidden"* ]] || with=", \"$3\""
    answers "$1: 00 command performed successfully$with"
}

press_ok() {
    waits=$((waits + 1))
    click_at "$input_ok_x" "$input_buttons_y"
}

# Commands that show nothing: quiet COMMAND WITH_WHAT RESULT
quiet() {
    asks "$1$2"
    answers "$1: $3"
}

tone() {
    asks "PLAY TONE $1"
    shown="nothing, plays the tone"
    answers "PLAY TONE: 00"
}

browser() {
    asks "LAUNCH BROWSER \"$1\""
    expect "host: web page asked for: $1"
    shown="the page in the browser"
    answers "LAUNCH BROWSER: 00"
}
