# What the user does with mouse and keyboard. Sourced by tools/tour.

# The SIM Toolkit window's table with rows of 17 is centred, its buttons stand in a row below. Windows of languages
# that are written from the right are mirrored.
readonly row_x=150 first_row_y=55 row_height=17
readonly menu_buttons_y=323 back_x=57 select_x=157 close_x=312
readonly input_buttons_y=148 input_ok_x=96 input_cancel_x=211

mirrored="" # "yes": the language is written from the right

# click WINDOW X Y
click() { xdotool mousemove --window "$1" "$2" "$3" click 1; }
key() { xdotool key --delay 30 "$@"; }

# click_at X Y: in the active window, X from the side where lines begin
click_at() {
    local x="$1"
    [[ -z "$mirrored" ]] || x=$((width - x))
    click "$window" "$x" "$2"
}

click_row() { click "$window" "$row_x" $((first_row_y + ($1 - 1) * row_height)); }
double_click_row() {
    xdotool mousemove --window "$window" "$row_x" $((first_row_y + ($1 - 1) * row_height)) \
        click --repeat 2 --delay 50 1
}

# A message box has its buttons at the end of its last line; its size is that of its text.
click_first_button() { click_at $((width - 138)) $((height - 23)); }
click_second_button() { click_at $((width - 52)) $((height - 23)); }

click_toolkit() { click "$main_window" 380 415; }
click_device() { click "$main_window" 85 483; }

# The close button of the frame that the window manager draws around the main window.
click_window_cross() {
    local x y
    x="$(xwininfo -id "$main_window" | sed -n 's/.*Absolute upper-left X: *//p')"
    y="$(xwininfo -id "$main_window" | sed -n 's/.*Absolute upper-left Y: *//p')"
    xdotool mousemove $((x + 749)) $((y - 10)) click 1
}

# Puts the text in the place of what the field holds. Without text: the same again, for only an edited field has an OK.
type_text() {
    key ctrl+a
    if [[ -n "$1" ]]; then
        xdotool type --delay 15 -- "$1"
    else
        key ctrl+x ctrl+v
    fi
}
