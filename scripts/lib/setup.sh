# Shared by the scripts in scripts/: finds the Debian packages the project needs and
# installs the missing ones (as root) or prints the command that would (otherwise).

# ensure_packages PKG... : returns when all are installed, exits 1 otherwise.
ensure_packages() {
    local missing=()
    local pkg
    for pkg in "$@"; do
        if ! dpkg-query -W -f='${Status}' "$pkg" 2>/dev/null | grep -q "install ok installed"; then
            missing+=("$pkg")
        fi
    done
    [ ${#missing[@]} -eq 0 ] && return 0
    local cmd="apt-get update && apt-get install -y --no-install-recommends ${missing[*]}"
    if [ "$(id -u)" -eq 0 ]; then
        echo "Installing missing packages: ${missing[*]}"
        apt-get update -qq
        DEBIAN_FRONTEND=noninteractive apt-get install -y -qq --no-install-recommends "${missing[@]}"
    else
        echo "Missing Debian packages: ${missing[*]}" >&2
        echo "Install them as root with:" >&2
        echo "  sudo sh -c '$cmd'" >&2
        exit 1
    fi
}

# Packages to build and run the program.
RUN_PACKAGES=(cmake make g++ pkg-config qt6-base-dev qt6-base-dev-tools libgl-dev
              fonts-dejavu-core ccache)
# Extra packages for the test suite: benchmarks, fuzzing, formatting.
TEST_PACKAGES=(libbenchmark-dev clang libclang-rt-14-dev clang-format)

# configure_and_build BUILD_DIR [cmake args...]: configures, then builds everything,
# or only the targets named in BUILD_TARGETS, or only the tests labelled BUILD_TEST_LABEL
# (a test's name is its target's name).
configure_and_build() {
    local dir="$1"
    shift
    mkdir -p "$dir"
    local launcher=()
    if command -v ccache >/dev/null 2>&1; then
        # Paths relative to the checkout, so a fresh clone in another folder reuses the
        # cache of an earlier one.
        export CCACHE_BASEDIR="$ROOT"
        export CCACHE_NOHASHDIR=1
        launcher=(-DCMAKE_CXX_COMPILER_LAUNCHER=ccache -DCMAKE_C_COMPILER_LAUNCHER=ccache)
    fi
    cmake -S "$ROOT" -B "$dir" "${launcher[@]}" "$@" >"$dir.configure.log" 2>&1 || {
        cat "$dir.configure.log" >&2
        return 1
    }
    local targets=()
    if [ -n "${BUILD_TEST_LABEL:-}" ]; then
        targets=(--target $(ctest --test-dir "$dir" -N -L "$BUILD_TEST_LABEL" |
            sed -n 's/^ *Test *#[0-9]*: *//p'))
    elif [ -n "${BUILD_TARGETS:-}" ]; then
        targets=(--target $BUILD_TARGETS)
    fi
    cmake --build "$dir" -j "$(nproc)" "${targets[@]}"
}

# phase NAME: prints the time the previous phase took, then the heading of the next;
# "phase" alone closes the last one.
PHASE_NAME=""
PHASE_START=0
phase() {
    local now
    now=$(date +%s)
    if [ -n "$PHASE_NAME" ]; then
        echo "-- $PHASE_NAME took $((now - PHASE_START)) s"
    fi
    PHASE_NAME="${1:-}"
    PHASE_START=$now
    [ -n "$PHASE_NAME" ] && echo "== $PHASE_NAME"
    return 0
}
