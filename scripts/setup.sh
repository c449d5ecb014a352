# shellcheck shell=bash
# What the scripts need before they can build. Sourced by them, never run:
#
#   source "$(dirname "$0")/setup.sh"
#   install_packages "${BUILD_PACKAGES[@]}" "${TEST_PACKAGES[@]}"
#
# scripts/setup installs a list by name, scripts/i386-sysroot all that the i386 presets need.
# The caller has set -euo pipefail and stands in the root of the source tree.

# To build the library, its tools and the examples.
# shellcheck disable=SC2034 # the lists are used by the scripts that source this file
BUILD_PACKAGES=(
    cmake              # reads CMakeLists.txt and the presets
    ninja-build        # runs the build
    g++                # the compiler
    libace-dev         # ACE: strings, containers and mutexes of the library
    libcli11-dev       # command line of quarn-log
    nlohmann-json3-dev # its JSON
    libdw-dev          # addresses to source lines, in the allocation feeder example
    python3            # tools/allocation-table
)

# To make the packages of what was built.
# shellcheck disable=SC2034
PACKAGE_PACKAGES=(
    dpkg-dev # dpkg-shlibdeps: which packages ours depend on
    file     # tells it which files are programs
)

# To build and run the tests, and to check the code.
# shellcheck disable=SC2034
TEST_PACKAGES=(
    libgtest-dev       # GoogleTest
    libgmock-dev       # its matchers
    libbenchmark-dev   # the benchmarks, which the tests build
    clang              # the second compiler
    libclang-rt-dev    # its sanitizers and libFuzzer, for both word sizes
    clang-format       # layout
    clang-tidy         # static checks
    cppcheck           # more of them
    locales            # sources of the locales that tests compile
    binutils           # objdump, for the instructions of log calls; gold, which links the tests
    "${PACKAGE_PACKAGES[@]}"
    lintian            # checks the packages; without it that test is skipped
    pkg-config         # builds a program against what is installed
    groff-base         # checks the manual pages
    doxygen            # the API pages
    abigail-tools      # the ABI of the library, compared with the recorded one; without it that test is skipped
    zsh fish           # shells whose completion is tested; without them those tests are skipped
    lnav               # the log viewer, for its format definition; without it those tests are skipped
    tmux               # the terminal in which the log viewer is shown; likewise
)

# To try the pages' commands on a bare Debian.
# shellcheck disable=SC2034
FIRST_HOUR_PACKAGES=(
    debootstrap # makes it
    git         # lists the files of the checkout
    python3     # takes the commands out of the pages
)

# To run the benchmarks. A peer that is not installed is left out, and the report says so.
# shellcheck disable=SC2034
BENCH_PACKAGES=(
    libbenchmark-dev   # the benchmarks of throughput
    libspdlog-dev      # the peers: spdlog,
    libfmt-dev         # with its formatter,
    libgoogle-glog-dev # glog,
    liblog4cplus-dev   # log4cplus,
    libboost-log-dev   # Boost.Log
    python3-matplotlib # the plots of docs/performance.md
)
# shellcheck disable=SC2034
BENCH_I386_PACKAGES=(
    libbenchmark-dev:i386 # the benchmarks of throughput, 32 bits; of the peers only spdlog can be had
)

# To build and test for 32-bit x86. ACE comes from scripts/i386-sysroot.
# shellcheck disable=SC2034
I386_PACKAGES=(
    g++-multilib      # g++ -m32 and its libraries
    libstdc++6:i386   # the run-time library of a 32-bit system, which our packages for it depend on
    libgtest-dev:i386 # GoogleTest, 32 bits
    libgmock-dev:i386 # its matchers, 32 bits
)

# say TEXT...: a step, in bold on a terminal.
say() {
    if [[ -t 1 ]]; then
        printf '\n\033[1m==> %s\033[0m\n' "$*"
    else
        printf '\n==> %s\n' "$*"
    fi
}

# fail TEXT...: the reason, and the end of the script.
fail() {
    printf '%s: %s\n' "${0##*/}" "$*" >&2
    exit 1
}

# print_help: the comment at the top of the script.
print_help() {
    sed -n '2,/^[^#]/s/^#\( \|$\)//p' "scripts/${0##*/}"
}

# wrong_usage TEXT...: what is wrong with the arguments, and the end of the script with exit code 2.
wrong_usage() {
    printf '%s: %s; see scripts/%s --help\n' "${0##*/}" "$*" "${0##*/}" >&2
    exit 2
}

# take_no_arguments ARGUMENT...: for a script that has none but --help.
take_no_arguments() {
    if [[ ${1:-} == -h || ${1:-} == --help ]]; then
        print_help
        exit
    fi
    [[ $# == 0 ]] || wrong_usage "unknown argument $1"
}

# need_preset NAME: a preset with which tests can be run.
need_preset() {
    local known
    [[ $1 != -* ]] || wrong_usage "unknown option $1"
    known=$(sed -n 's/.*"name": "\([^"]*\)", "inherits": "[^"]*", "configurePreset".*/\1/p' CMakePresets.json)
    grep -qxF -e "$1" <<<"$known" || wrong_usage "there is no preset $1 with tests, but ${known//$'\n'/, }"
}

# Whatever else goes wrong is named, too.
trap 'fail "stopped at line $LINENO: $BASH_COMMAND"' ERR

# is_installed NAME[:ARCHITECTURE]: without an architecture the one of this system, or a package for all of them, counts.
is_installed() {
    local name=${1%%:*} wanted=${1#"${1%%:*}"} status architecture
    wanted=${wanted#:}
    wanted=${wanted:-$(dpkg --print-architecture)}
    while read -r status architecture; do
        if [[ $status == installed && ($architecture == "$wanted" || $architecture == all) ]]; then
            return 0
        fi
    done < <(dpkg-query -W -f='${db:Status-Status} ${Architecture}\n' "$name" 2>/dev/null || true)
    return 1
}

# as_root COMMAND...: directly for root, else through sudo.
as_root() {
    if [[ $(id -u) == 0 ]]; then
        "$@"
    elif command -v sudo >/dev/null; then
        sudo "$@"
    else
        fail "this needs root, and there is no sudo: $*"
    fi
}

# update_package_lists: an error is reported and passed over. One source of many may be out of order while the packages
# are found in the others; if not, the installation that follows fails and says so.
update_package_lists() {
    as_root apt-get update -q || echo "apt-get update reported an error; going on with the package lists there are"
}

# install_packages NAME...: installs those that are missing. Needs no root and no network if there are none.
install_packages() {
    command -v dpkg-query >/dev/null || fail "needs Debian or a relative of it; install these by hand: $*"
    local name missing=()
    for name in "$@"; do
        is_installed "$name" || missing+=("$name")
    done
    if ((${#missing[@]} == 0)); then
        return 0
    fi
    say "Installing ${missing[*]}"
    [[ $(id -u) == 0 ]] || command -v sudo >/dev/null || fail "install as root first: ${missing[*]}"
    update_package_lists
    as_root env DEBIAN_FRONTEND=noninteractive apt-get install -q -y --no-install-recommends "${missing[@]}" ||
        fail "could not install: ${missing[*]}"
}

# add_i386: all that is needed to build for i386, beside BUILD_PACKAGES.
add_i386() {
    scripts/i386-sysroot || fail "the i386 presets cannot be built here"
}
