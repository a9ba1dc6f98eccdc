# What check-asan, check-tsan and check-memcheck share: the whole suite run under a tool that writes its reports to
# files. Sourced behind common.sh.

readonly reports="$build/reports"

# Programs are slow here, and one that did not wait long enough for a window has a second try; a report counts all the
# same.
readonly second_try=(--repeat until-pass:2)

clear_reports() {
    rm -rf "$reports"
    mkdir -p "$reports"
}

# Runs ctest with the options given, shows how it goes, and keeps everything that it said in the build folder.
run_tests() {
    local result=0 output=(--progress)
    [[ -t 1 ]] || output=()
    in_tree ctest --no-tests=error --output-log "$build/${0##*/}.log" "${output[@]}" "$@" || result=$?
    return "$result"
}

# The last line, and the exit code of the script: ends it. A report is a finding also when its test has passed, for it
# may be a child process's.
conclude() {
    local result="$1" found
    found="$(find "$reports" -type f -size +0 | wc -l)"
    if ((found)); then
        echo
        find "$reports" -type f -size +0 -print0 | sort -z | xargs -0 head -n 60
    fi
    echo "${0##*/}: $((SECONDS / 60)) min $((SECONDS % 60)) s, reports: $found$( ((result == 0)) || echo ", tests FAILED");" \
        "everything is in ${build#"$root/"}/${0##*/}.log and ${reports#"$root/"}"
    ((result == 0 && found == 0))
    exit
}
