#!/usr/bin/env bash
# Installs what the build needs on Debian 12 and cross-builds the libraries that
# Debian ships as source only. Safe to run again: what is there stays.
#
#   Scripts/setup.sh [--bench | --coverage]
#
# --bench and --coverage install what Scripts/bench.sh and Scripts/coverage.sh need besides.
# KUV_DEPS_DIR names another folder for the cross-built libraries
# (default: build/deps).
set -euo pipefail

root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
deps=${KUV_DEPS_DIR:-$root/build/deps}

packages=(
  ca-certificates
  # Compilers: objects are built by the posix flavour, the DLL is linked by the win32 one.
  g++-mingw-w64-x86-64-posix g++-mingw-w64-x86-64-win32
  g++-mingw-w64-i686-posix g++-mingw-w64-i686-win32
  cmake ninja-build dpkg-dev
  # The reference of the library.
  doxygen
  # Running and testing.
  wine wine64 googletest python3 chromium-headless-shell
  # What the benchmarks compare with: headers only.
  libspdlog-dev libfmt-dev
  # Checks, and the host's compiler for fuzzing.
  clang-format clang-tidy cppcheck clang libclang-rt-dev
)
[ "${1-}" != --coverage ] || packages+=(gcovr)
# Libraries that the service client is measured against.
if [ "${1-}" = --bench ]; then
  packages+=(
    g++ pkg-config libbenchmark-dev libgcrypt-mingw-w64-dev
    libcurl4-openssl-dev libglib2.0-dev libmodpbase64-dev libssl-dev nettle-dev
  )
fi

say() { printf 'setup: %s\n' "$*"; }

as_root() {
  if [ "$(id -u)" = 0 ]; then
    "$@"
  elif command -v sudo >/dev/null; then
    sudo "$@"
  else
    say "this needs root, and sudo is not installed: $*" >&2
    exit 1
  fi
}

install_packages() {
  local package missing=()
  for package in "${packages[@]}"; do
    [ "$(dpkg-query -W -f '${db:Status-Status}' "$package" 2>/dev/null)" = installed ] || missing+=("$package")
  done
  if [ ${#missing[@]} = 0 ]; then
    say "Debian packages: all ${#packages[@]} are installed"
    return
  fi
  say "Debian packages to install: ${missing[*]}"
  as_root apt-get -qq update
  as_root env DEBIAN_FRONTEND=noninteractive \
    apt-get -qq install -y --no-install-recommends -o Dpkg::Use-Pty=0 "${missing[@]}" >/dev/null
}

# Runs apt-get with the machine's own Debian archives as source archives and with
# state of its own, so that it needs neither root nor a change below /etc.
source_apt() {
  apt-get -qq \
    -o "Dir::Etc::SourceList=$deps/apt/sources.list" -o Dir::Etc::SourceParts=- \
    -o "Dir::State::Lists=$deps/apt/lists" -o "Dir::Cache=$deps/apt/cache" \
    -o APT::Sandbox::User= -o APT::Get::List-Cleanup=false "$@"
}

fetch_sources() {
  if [ -d "$deps/src/libjsoncpp" ] && [ -d "$deps/src/benchmark" ]; then
    say "library sources: present"
    return
  fi
  say "library sources: fetching libjsoncpp and benchmark"
  local archives name
  archives() {
    apt-get indextargets --format '$(REPO_URI) $(RELEASE) $(COMPONENT)' \
      'Identifier: Packages' 'Origin: Debian' | sort -u
  }
  archives=$(archives)
  if [ -z "$archives" ]; then
    as_root apt-get -qq update
    archives=$(archives)
  fi
  mkdir -p "$deps/apt/lists/partial" "$deps/apt/cache/archives/partial" "$deps/src"
  sed 's|^|deb-src [signed-by=/usr/share/keyrings/debian-archive-keyring.gpg] |' \
    <<<"$archives" >"$deps/apt/sources.list"
  source_apt update
  for name in libjsoncpp benchmark; do
    rm -rf "$deps/src/$name" "$deps/src/$name.fetch"
    mkdir "$deps/src/$name.fetch"
    (cd "$deps/src/$name.fetch" && source_apt source "$name" >/dev/null)
    mv "$deps/src/$name.fetch"/*/ "$deps/src/$name"
    rm -rf "$deps/src/$name.fetch"
  done
  rm -rf "$deps/apt"
}

# build_library ARCHITECTURE NAME SOURCE [CMAKE-OPTION...]
build_library() {
  local architecture=$1 name=$2 source=$3 stamp fingerprint
  shift 3
  stamp=$deps/$architecture/.stamps/$name
  fingerprint=$({
    echo "$*"
    dpkg-query -W g++-mingw-w64-x86-64-posix googletest
    cat "$root"/cmake/mingw-*.cmake
  } | sha256sum)
  if [ "$(cat "$stamp" 2>/dev/null)" = "$fingerprint" ]; then
    say "$name for $architecture: present"
    return
  fi
  say "$name for $architecture: building"
  # What an interrupted run left may belong to a folder that has moved.
  rm -rf "$deps/build/$architecture/$name"
  mkdir -p "$deps/$architecture/.stamps" "$deps/log"
  if ! {
    cmake -S "$source" -B "$deps/build/$architecture/$name" -G Ninja \
      -DCMAKE_TOOLCHAIN_FILE="$root/cmake/mingw-$architecture.cmake" \
      -DCMAKE_INSTALL_PREFIX="$deps/$architecture" -DCMAKE_INSTALL_LIBDIR=lib \
      -DCMAKE_BUILD_TYPE=Release -DBUILD_SHARED_LIBS=OFF "$@" &&
      cmake --build "$deps/build/$architecture/$name" &&
      cmake --install "$deps/build/$architecture/$name"
  } >"$deps/log/$architecture-$name.log" 2>&1; then
    tail -n 30 "$deps/log/$architecture-$name.log" >&2
    say "$name for $architecture did not build" >&2
    exit 1
  fi
  rm -rf "$deps/build/$architecture/$name"
  printf '%s\n' "$fingerprint" >"$stamp"
}

build_libraries() {
  local architecture
  for architecture in x64 x86; do
    build_library "$architecture" googletest /usr/src/googletest -DINSTALL_GTEST=ON
    build_library "$architecture" jsoncpp "$deps/src/libjsoncpp" \
      -DJSONCPP_WITH_TESTS=OFF -DJSONCPP_WITH_POST_BUILD_UNITTEST=OFF \
      -DBUILD_OBJECT_LIBS=OFF -DBUILD_STATIC_LIBS=ON -DJSONCPP_WITH_PKGCONFIG_SUPPORT=OFF
    # Debian's benchmark is told its version from outside.
    build_library "$architecture" benchmark "$deps/src/benchmark" -DGIT_VERSION=1.7.1 \
      -DBENCHMARK_ENABLE_TESTING=OFF -DBENCHMARK_ENABLE_WERROR=OFF \
      -DBENCHMARK_INSTALL_DOCS=OFF -DHAVE_STD_REGEX=ON -DRUN_HAVE_STD_REGEX=0 \
      -DHAVE_STEADY_CLOCK=ON -DRUN_HAVE_STEADY_CLOCK=0
  done
}

install_packages
fetch_sources
build_libraries
say "done"
