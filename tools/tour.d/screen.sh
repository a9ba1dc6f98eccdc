# What is on the screen: waiting, windows, pictures. Sourced by tools/tour.

readonly limit=30 # seconds for anything to happen

readonly menu_size=380x357 input_size=261x170 # of the two windows that never change theirs

main_window=""    # of the dashboard
window="" name="" # the active one and its title, as last looked at
width=0 height=0  # of it
answered=""       # the box or input window that the user has answered: its follower is another one
waits=0           # how often the user has made the SIM Toolkit window wait for the card
sessions=0        # how many sessions have ended so far
painter=""        # the process that writes the last picture

# --- waiting ---------------------------------------------------------------------------------------------------------

still_runs() { kill -0 "$dashboard" 2>/dev/null || fail "the dashboard ended while waiting for: $1"; }

# wait_for WHAT COMMAND...: until the command succeeds
wait_for() {
    local what="$1" deadline=$((SECONDS + limit))
    shift
    until "$@"; do
        still_runs "$what"
        ((SECONDS < deadline)) || fail "in $limit s there was no: $what"
        sleep 0.03
    done
}

# How often the plug-in has logged the end of a function of the SIM Toolkit window.
ends_of() { grep -c "^End of .*STKDialog: $1:" "$debug"; }

# The window takes no input until its wait for the card is over.
waits_are_over() { (($(ends_of onChangeCursor) >= waits)); }
session_is_over() { (($(ends_of onSTKEndSession) > sessions)); }

# --- windows ---------------------------------------------------------------------------------------------------------

# Looks at the active window. False: there is none at the moment.
look() {
    local told
    told="$(xdotool getactivewindow getwindowgeometry --shell getwindowname 2>/dev/null)" || return 1
    [[ "$told" =~ WINDOW=([0-9]+).*WIDTH=([0-9]+).*HEIGHT=([0-9]+).*SCREEN=[0-9]+$'\n'(.*)$ ]] || return 1
    window="${BASH_REMATCH[1]}" width="${BASH_REMATCH[2]}" height="${BASH_REMATCH[3]}" name="${BASH_REMATCH[4]}"
}

sees_menu() { look && [[ "${width}x$height" == "$menu_size" && "$name" == "$1" ]] && waits_are_over; }
sees_input() { look && [[ "${width}x$height" == "$input_size" && "$window" != "$answered" ]]; }
sees_box() {
    look && [[ "$window" != "$main_window" && "$window" != "$answered" ]] &&
        [[ "${width}x$height" != "$menu_size" && "${width}x$height" != "$input_size" ]]
}
sees_no_other_window() { [[ "$(xdotool search --onlyvisible --pid "$dashboard" 2>/dev/null)" == "$main_window" ]]; }
sees_dashboard() { look && [[ "$window" == "$main_window" ]]; }

finds_dashboard() {
    main_window="$(xdotool search --onlyvisible --pid "$dashboard" --name '^Dashboard$' 2>/dev/null)"
}

# --- pictures --------------------------------------------------------------------------------------------------------

shoot() { import -window root -crop "$picture_area" +repage "$out/$1.ppm" 2>/dev/null || fail "no screenshot"; }
same() { cmp -s "$out/$1.ppm" "$out/$2.ppm"; }

# The screen shows something new, and has come to rest.
screen_settled() {
    shoot new
    same new last && return 1
    sleep 0.1
    shoot again
    same new again
}

# picture NAME: of the dashboard and what is over it. It is written while the tour goes on.
picture() {
    pictures=$((pictures + 1))
    wait_for "change on the screen" screen_settled
    finish_picture
    mv "$out/new.ppm" "$out/last.ppm"
    convert "$out/last.ppm" "$out/$(printf '%03d' "$pictures")-$1.png" &
    painter=$!
}

finish_picture() { [[ -z "$painter" ]] || wait "$painter" || fail "no screenshot"; }

# The area of the pictures: the main window with its frame.
measure_pictures() {
    local x y
    look
    x="$(xwininfo -id "$main_window" | sed -n 's/.*Absolute upper-left X: *//p')"
    y="$(xwininfo -id "$main_window" | sed -n 's/.*Absolute upper-left Y: *//p')"
    picture_area="$((width + 20))x$((height + 50))+$((x - 10))+$((y - 35))"
}
