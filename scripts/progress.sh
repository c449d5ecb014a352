# shellcheck shell=bash
# Says what a script that takes its time is doing. Sourced behind scripts/setup.sh, never run:
#
#   plan_steps TITLE...      the steps to come, in their order
#   run_step TITLE LOG COMMAND...
#                            runs a step, with all that COMMAND prints in the file LOG, and returns as COMMAND does; 77
#                            means that it cannot be run here. It is a program, or a function that does not rely on
#                            "set -e".
#   watch_logs LOG...        the next step's count of files or tests is the sum of those in these files, not in its own
#   end_steps                forgets the line; for a script that goes on in other ways
#
# On a terminal one line is written over and over: step, what runs, how much of the build or of the tests is done, and
# how long it takes beside the last time, which is kept in build/durations. Elsewhere there is a line when a step begins
# and when it ends, and one each half minute between.

export NINJA_STATUS='[%f/%t] '

step_titles=()
step_index=0
step_watched=()
steps_began=$SECONDS
step_durations=build/durations

if [[ -t 1 && ${TERM:-dumb} != dumb && -z ${CI-} ]]; then
    step_terminal=yes
else
    step_terminal=no
fi

plan_steps() {
    step_titles=("$@")
    step_index=0
    steps_began=$SECONDS
}

watch_logs() {
    step_watched=("$@")
}

end_steps() {
    [[ $step_terminal == no ]] || printf '\r\033[K'
}

# clock SECONDS: as minutes and seconds.
clock() {
    printf '%d:%02d' $(($1 / 60)) $(($1 % 60))
}

# last_duration TITLE: the seconds that this script's step took last time, or nothing.
last_duration() {
    [[ ! -f $step_durations ]] || awk -F'\t' -v key="${0##*/}: $1" '$1 == key { print $2 }' "$step_durations"
}

keep_duration() {
    mkdir -p "${step_durations%/*}"
    {
        [[ ! -f $step_durations ]] || awk -F'\t' -v key="${0##*/}: $1" '$1 != key' "$step_durations"
        printf '%s\t%d\n' "${0##*/}: $1" "$2"
    } >"$step_durations.new"
    mv "$step_durations.new" "$step_durations"
}

# The seconds that all planned steps took last time, or nothing if one of them is new.
last_duration_of_all() {
    local title seconds sum=0
    for title in "${step_titles[@]}"; do
        seconds=$(last_duration "$title")
        [[ -n $seconds ]] || return 0
        sum=$((sum + seconds))
    done
    echo "$sum"
}

# count_done LOG...: " 12/345", of what ninja, CTest, cppcheck, or a script with steps of its own says in the files, or nothing.
count_done() {
    local log number done=0 total=0
    for log in "$@"; do
        number=$(tail -c 4000 "$log" 2>/dev/null | grep -aoE '^(\[[0-9]+/[0-9]+\]| *[0-9]+/[0-9]+ (Test|files checked) )' | tail -n 1 |
            tr -cd 0-9/)
        [[ -n $number ]] || continue
        done=$((done + ${number%/*}))
        total=$((total + ${number#*/}))
    done
    ((total == 0)) || printf ' %d/%d' "$done" "$total"
}

# describe_step TITLE SECONDS [EXPECTED SECONDS OF ALL, EXPECTED]
describe_step() {
    local text="[$step_index/${#step_titles[@]}] $1"
    text+="$(count_done "${step_watched[@]}"), $(clock "$2")"
    [[ -z $3 ]] || text+=" of about $(clock "$3")"
    if ((${#step_titles[@]} > 1)); then
        text+="; in all $(clock $((SECONDS - steps_began)))"
        [[ -z $4 ]] || text+=" of about $(clock "$4")"
    fi
    printf '%s' "$text"
}

# Runs beside a step, and ends with it or with the script.
tell_of_step() {
    local title=$1 began=$2 expected all text told=$2 nothing
    expected=$(last_duration "$title")
    all=$(last_duration_of_all)
    exec {nothing}<> <(:)
    while kill -0 "$$" 2>/dev/null; do
        if [[ $step_terminal == yes ]]; then
            text=$(describe_step "$title" $((SECONDS - began)) "$expected" "$all")
            printf '\r\033[K%s' "${text:0:$(($(tput cols 2>/dev/null || echo 80) - 1))}"
        elif ((SECONDS - told >= 30)); then
            told=$SECONDS
            describe_step "$title" $((SECONDS - began)) "$expected" "$all" && echo
        fi
        read -rt 1 -u "$nothing" || true # a second without a program that sleeps, which would outlive this one
    done
}

run_step() {
    local title=$1 log=$2 began=$SECONDS status=0 teller
    shift 2
    mkdir -p "${log%/*}"
    : >"$log"
    ((${#step_titles[@]} > 0)) || step_titles=("$title")
    step_index=$((step_index + 1))
    ((${#step_watched[@]} > 0)) || step_watched=("$log")
    [[ $step_terminal == yes ]] || echo "[$step_index/${#step_titles[@]}] $title"
    tell_of_step "$title" "$began" &
    teller=$!
    "$@" >"$log" 2>&1 </dev/null || status=$?
    kill "$teller" 2>/dev/null || true
    wait "$teller" 2>/dev/null || true
    step_watched=()
    end_steps
    local took=$((SECONDS - began))
    if ((status == 77)); then
        echo "[$step_index/${#step_titles[@]}] $title: left out"
    elif ((status == 0)); then
        keep_duration "$title" "$took"
        [[ $step_terminal == yes ]] || echo "[$step_index/${#step_titles[@]}] $title: done in $(clock "$took")"
    else
        echo "[$step_index/${#step_titles[@]}] $title: failed after $(clock "$took")"
    fi
    return "$status"
}
