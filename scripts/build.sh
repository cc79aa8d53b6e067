# Configures and builds quietly: one line when there is work, a line now and then meanwhile, and the whole output after a
# failure.

readonly seconds_between_lines=20

# Copies a build's output to the log file, and reports progress on standard error.
show_progress()
{
    local title=$1 log=$2 line next=0
    while IFS= read -r line; do
        echo "$line" >>"$log"
        [[ $line == \[* && $line != *"Re-checking globbed directories"* ]] || continue
        if ((next == 0)); then
            echo "Building $title ..." >&2
        elif ((SECONDS >= next)); then
            echo "  ${line%%]*}]" >&2
        else
            continue
        fi
        next=$((SECONDS + seconds_between_lines))
    done
}

# Runs a command and shows its output only when it fails.
run_quietly()
{
    local log=$1
    shift
    "$@" >"$log" 2>&1 || { cat "$log" >&2 && return 1; }
}

# build PRESET TITLE [TARGET...]: brings the targets, or everything when none is named, up to date. One build at a time.
build()
{
    local preset=$1 title=$2
    shift 2
    mkdir -p "$root/build"
    local log=$root/build/$preset.log
    (
        flock 9
        cd "$root"
        [[ -e build/$preset/build.ninja ]] || run_quietly "$log" cmake --preset "$preset"
        : >"$log"
        ninja -C "build/$preset" -j "$(nproc)" "$@" 2>&1 9>&- |
            show_progress "$title" "$log" || { cat "$log" >&2 && exit 1; }
    ) 9>"$root/build/lock"
}
