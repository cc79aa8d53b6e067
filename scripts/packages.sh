# The Debian packages that the two commands need, and their installation.

# The group that needs it, the package, and a command or file (or a pattern of files) that proves it is installed.
packages=(
    "native   cmake                        cmake"                            # configures both builds
    "native   ninja-build                  ninja"                            # runs them
    "native   g++                          g++"                              # compiles for this machine
    "native   nlohmann-json3-dev           /usr/include/nlohmann/json.hpp"   # machine descriptions
    "native   libfmt-dev                   /usr/include/fmt/core.h"          # reports
    "native   libcli11-dev                 /usr/include/CLI/CLI.hpp"         # kelo-rehearse's options
    "native   libgtest-dev                 /usr/include/gtest/gtest.h"       # the native tests
    "native   libgmock-dev                 /usr/include/gmock/gmock.h"       # their matchers
    "native   libbenchmark-dev             /usr/include/benchmark/benchmark.h" # the benchmarks
    "native   python3                      /usr/bin/python3"                 # the tests in Python, which ctest lists
    "windows  g++-mingw-w64-x86-64-posix   x86_64-w64-mingw32-g++-posix"     # compiles for Windows
    "windows  nlohmann-json3-dev           /usr/include/nlohmann/json.hpp"   # KeloDescribe's descriptions
    "windows  libfmt-dev                   /usr/include/fmt/core.h"          # their texts
    "windows  libcli11-dev                 /usr/include/CLI/CLI.hpp"         # its options
    "windows  googletest                   /usr/src/googletest/googletest/src/gtest-all.cc" # tests built for Windows
    "windows  wine64                       /usr/lib/wine/wine64"             # runs what was compiled
    "windows  wine                         wine"                             # starts wine64
    "windows  wixl                         wixl"                             # makes installer packages
    "windows  msitools                     msibuild"                         # completes and inspects them
    "package  msitools                     msiinfo"                          # reads a package that is rehearsed
    "explain  chromium                     chromium"                         # shows a log's page
    "explain  chromium-driver              chromedriver"                     # drives it
    "explain  python3-selenium             /usr/lib/python3/dist-packages/selenium" # lets the tests drive it
    "many     parallel                     parallel"                         # distributes lines to processes
    "many     python3-distributed          dask-scheduler"                   # distributes lines to a cluster
    "fuzz     clang                        clang++"                          # compiles the fuzzers
    "fuzz     libclang-rt-dev              /usr/lib/clang/*/lib/linux/libclang_rt.fuzzer-x86_64.a" # libFuzzer
    "mutants  python3-clang                /usr/lib/python3/dist-packages/clang/cindex.py" # the syntax tree of src/
    "mutants  clang                        clang++"                          # the headers that it needs
    "mutants  lld                          ld.lld"                           # links an image in half the time
    "style    clang                        clang++"                          # a second compiler's opinion of src/
    "style    clang-format                 clang-format"                     # the layout of the sources
    "style    clang-tidy                   clang-tidy"                       # likely mistakes
)

# Names each package of the given groups that is missing.
missing_packages()
{
    local entry group package proof
    for entry in "${packages[@]}"; do
        read -r group package proof <<<"$entry"
        [[ " $* " == *" $group "* ]] || continue
        command -v "$proof" >/dev/null || [[ $proof == /* && $(compgen -G "$proof") ]] || echo "$package"
    done
}

# Runs apt-get without questions, as root or through sudo; shows its output only when it fails.
apt_get()
{
    local as_root=()
    ((EUID == 0)) || as_root=(sudo)
    "${as_root[@]}" env DEBIAN_FRONTEND=noninteractive apt-get -y -o DPkg::Lock::Timeout=300 "$@" >"$apt_log" 2>&1 ||
        { cat "$apt_log" >&2 && return 1; }
}

# Whether this user may install: as root, or with a working sudo, which needs a terminal if it asks for a password.
may_install()
{
    command -v apt-get >/dev/null || return 1
    ((EUID == 0)) && return 0
    command -v sudo >/dev/null && { [[ -t 2 ]] || sudo -n true 2>/dev/null; }
}

apt_lists_are_new=

# Installs the missing packages of the given groups. If it may not, it says in one line what to install, and fails.
install_packages()
{
    local missing
    mapfile -t missing < <(missing_packages "$@")
    ((${#missing[@]})) || return 0
    if may_install; then
        echo "Installing ${missing[*]} ..." >&2
        local apt_log
        apt_log=$(mktemp)
        if [[ -n $apt_lists_are_new ]] || apt_get update; then
            apt_lists_are_new=1
            apt_get install --no-install-recommends "${missing[@]}" || true # the next lines notice it
        fi
        rm -f "$apt_log"
        mapfile -t missing < <(missing_packages "$@")
        # A build that was configured before knows nothing of them.
        rm -f "$root"/build/*/build.ninja
        ((${#missing[@]})) || return 0
    fi
    echo "${0##*/}: please install as root: apt-get install --no-install-recommends ${missing[*]}" >&2
    return 1
}
