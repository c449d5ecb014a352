# shellcheck shell=bash
# What the scripts need before they can build. Sourced by them, never run:
#
#   source "$(dirname "$0")/setup.sh"
#   install_packages "${BUILD_PACKAGES[@]}" "${TEST_PACKAGES[@]}"
#   add_i386
#
# The caller has set -euo pipefail and stands in the root of the source tree.

# To build the library, its tools and the examples.
# shellcheck disable=SC2034 # the lists are used by the scripts that source this file
BUILD_PACKAGES=(
    cmake              # reads CMakeLists.txt and the presets
    ninja-build        # runs the build
    g++                # the compiler
    libace-dev         # ACE: strings, containers and mutexes of the library
    libcli11-dev       # command line of quarn-logdump
    nlohmann-json3-dev # its JSON
    libdw-dev          # addresses to source lines, in the allocation feeder example
    python3            # tools/allocation-table
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
    dpkg-dev           # dpkg-shlibdeps, for the packages
    file               # tells it which files are programs
    pkg-config         # builds a program against what is installed
    groff-base         # checks the manual pages
    doxygen            # the API pages
    abigail-tools      # the ABI of the library, compared with the recorded one; without it that test is skipped
    lnav               # the log viewer, for its format definition; without it those tests are skipped
    tmux               # the terminal in which the log viewer is shown; likewise
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

# The same for 32-bit x86. ACE comes from scripts/i386-sysroot.
I386_PACKAGES=(
    g++-multilib      # g++ -m32 and its libraries
    libgtest-dev:i386 # GoogleTest, 32 bits
    libgmock-dev:i386 # its matchers, 32 bits
    libstdc++6:i386   # the run-time library of a 32-bit system, which our packages for it depend on
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

# add_i386: all that the i386 presets need beside BUILD_PACKAGES and TEST_PACKAGES.
add_i386() {
    if ! dpkg --print-foreign-architectures | grep -qx i386; then
        say "Adding the architecture i386"
        as_root dpkg --add-architecture i386 || fail "could not add the architecture i386"
    fi
    install_packages "${I386_PACKAGES[@]}"
    if compgen -G '.i386-sysroot/usr/lib/i386-linux-gnu/libACE-*.so' >/dev/null; then
        return 0
    fi
    say "Unpacking ACE for i386"
    # The lists may be older than the architecture, when its packages had been installed by other means.
    apt-cache show libace-7.0.8:i386 >/dev/null 2>&1 || update_package_lists
    scripts/i386-sysroot || fail "could not unpack ACE for i386"
}
