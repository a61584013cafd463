#!/usr/bin/env bash
# Installs what the build needs on Debian 12 and 13, and cross-builds the libraries that Debian ships as source only. You
# can run it again: it installs and builds only what is missing.
#
#   Scripts/setup.sh [--bench] [--coverage] [--x86]
#
# --bench and --coverage also install what Scripts/bench.sh and Scripts/coverage.sh need. --x86 installs the 32-bit Wine
# for Scripts/test-x86.sh: it adds the architecture i386 to the package manager. If the packages of this machine do not
# permit that, it installs Debian with both versions of Wine into a folder (1.7 GB). If that also fails, everything else is
# installed, and the exit code is 3.
# KUV_DEPS_DIR names another folder for the cross-built libraries and for that system (default: build/deps).
set -euo pipefail
. "$(dirname "${BASH_SOURCE[0]}")/common.sh"

packages=(
  ca-certificates
  # Compilers: the posix flavor compiles, the win32 flavor links the DLL (cmake/mingw-common.cmake).
  g++-mingw-w64-x86-64-posix g++-mingw-w64-x86-64-win32
  g++-mingw-w64-i686-posix g++-mingw-w64-i686-win32
  cmake ninja-build dpkg-dev
  # The reference of the library.
  doxygen
  # Running and testing. The preloader reserves the addresses that Wine needs. Without it, Linux places the heap there in
  # about one of ten thousand starts, and the program ends with exit code 1, without a message.
  wine wine64 wine64-preloader googletest python3 chromium-headless-shell
  # Building, reading, dating and signing the installer package.
  wixl msitools faketime osslsigncode openssl
  # Headers of the libraries that the benchmarks compare with.
  libspdlog-dev libfmt-dev
  # Checks, and the host's compiler for fuzzing.
  clang-format clang-tidy cppcheck flake8 shellcheck clang libclang-rt-dev
)
x86=no
for option; do
  case $option in
  --bench)
    # Libraries that the benchmarks of the service client compare with.
    packages+=(
      g++ pkg-config libbenchmark-dev libgcrypt-mingw-w64-dev
      libcurl4-openssl-dev libglib2.0-dev libmodpbase64-dev libssl-dev nettle-dev
    )
    ;;
  --coverage) packages+=(gcovr) ;;
  --x86) x86=yes ;;
  *)
    usage_text "${BASH_SOURCE[0]}"
    exit 2
    ;;
  esac
done

update_and_install() {
  as_root apt-get -qq update &&
    as_root env DEBIAN_FRONTEND=noninteractive \
      apt-get -qq install -y --no-install-recommends --no-remove -o Dpkg::Use-Pty=0 "$@" >/dev/null
}

# is_installed PACKAGE: is true if the package manager has installed it.
is_installed() { [ "$(dpkg-query -W -f '${db:Status-Status}' "$1" 2>/dev/null)" = installed ]; }

install_packages() {
  local package missing=()
  for package in "${packages[@]}"; do
    is_installed "$package" || missing+=("$package")
  done
  if [ ${#missing[@]} = 0 ]; then
    say "all ${#packages[@]} Debian packages are installed"
    return
  fi
  say "installing Debian packages: ${missing[*]}"
  update_and_install "${missing[@]}"
}

# install_wine32: installs the 32-bit Wine beside the other packages. If that fails, the package manager is left as it was:
# an architecture without a package index would make each later update fail.
install_wine32() {
  if dpkg --print-foreign-architectures | grep -qx i386; then
    update_and_install wine32:i386
  else
    as_root dpkg --add-architecture i386
    update_and_install wine32:i386 || {
      as_root dpkg --remove-architecture i386
      return 1
    }
  fi
}

# make_wine_root: installs Debian with both versions of Wine into a folder. It takes only the release, without its
# updates, because these can differ between the two architectures for days.
make_wine_root() {
  local address release
  is_installed mmdebstrap || update_and_install mmdebstrap
  address=$(archives | awk '$2 !~ /-/ { print $1; exit }')
  release=$(. /etc/os-release && echo "$VERSION_CODENAME")
  mkdir -p "$deps/log"
  # The mounts of an interrupted run end with their namespace, so no other file is below the folder.
  as_root rm -rf --one-file-system "$wine_root.new" &&
    quietly "$deps/log/wine-root.log" as_root unshare --mount \
      mmdebstrap --mode=root --variant=apt --architectures=amd64,i386 \
      --keyring=/usr/share/keyrings/debian-archive-keyring.gpg \
      --aptopt='APT::Install-Recommends "false"' --include=wine,wine64,wine64-preloader,wine32:i386,cmake \
      "$release" "$wine_root.new" "$address" &&
    as_root rm -rf --one-file-system "$wine_root" &&
    as_root mv "$wine_root.new" "$wine_root"
}

set_up_wine32() {
  if [ -e "$wine_root/usr/lib/wine/wine64-preloader" ]; then
    say "the 32-bit Wine is installed in $wine_root"
  elif is_installed wine32:i386; then
    say "the 32-bit Wine is installed"
  else
    say "installing the 32-bit Wine"
    install_wine32 || {
      say "it cannot be installed beside the packages of this machine (above); installing it into $wine_root"
      make_wine_root || exit "$no_wine32"
    }
  fi
}

# archives: prints the archives of Debian that this machine uses, each as "ADDRESS RELEASE COMPONENT".
archives() {
  # shellcheck disable=SC2016  # apt-get expands them
  apt-get indextargets --format '$(REPO_URI) $(RELEASE) $(COMPONENT)' \
    'Identifier: Packages' 'Origin: Debian' | sort -u
}

# source_apt TOOL ARGUMENT...: runs apt-get or apt-cache with the source archives in $deps/apt. They keep their state in the
# folder of the libraries, so they need neither root nor a change in /etc.
source_apt() {
  local tool=$1
  shift
  "$tool" -qq \
    -o "Dir::Etc::SourceList=$deps/apt/sources.list" -o Dir::Etc::SourceParts=- \
    -o "Dir::State::Lists=$deps/apt/lists" -o "Dir::Cache=$deps/apt/cache" \
    -o APT::Sandbox::User= -o APT::Get::List-Cleanup=false "$@"
}

# read_archives ARCHIVE...: reads the source packages of archives, each given as "ADDRESS RELEASE COMPONENT".
read_archives() {
  mkdir -p "$deps/apt/lists/partial" "$deps/apt/cache/archives/partial"
  printf 'deb-src [signed-by=/usr/share/keyrings/debian-archive-keyring.gpg] %s\n' "$@" >"$deps/apt/sources.list"
  source_apt apt-get update
}

# fetch_source NAME: downloads the newest version of a source package that the archives have, except those in `missing`. An
# archive may list a version without having its files.
fetch_source() {
  local name=$1 version versions source=$deps/src/$1
  versions=$(source_apt apt-cache madison "$name" | awk '{ print $3 }' | sort -Vru)
  for version in $versions; do
    [[ " ${missing[*]} " != *" $name=$version "* ]] || continue
    rm -rf "$source.fetch"
    mkdir -p "$source.fetch"
    if (cd "$source.fetch" && source_apt apt-get source "$name=$version" >/dev/null); then
      mv "$source.fetch"/*/ "$source"
      rm -rf "$source.fetch"
      return
    fi
    rm -rf "$source.fetch"
    missing+=("$name=$version")
    say "the source package $name $version is not available on this mirror"
  done
  return 1
}

fetch_sources() {
  local archives name names=() others=() missing=() address
  for name in libjsoncpp benchmark; do
    [ -d "$deps/src/$name" ] || names+=("$name")
  done
  if [ ${#names[@]} = 0 ]; then
    say "the sources of the libraries are present"
    return
  fi
  say "downloading the sources of ${names[*]}"
  mapfile -t archives < <(archives)
  if [ ${#archives[@]} = 0 ]; then
    as_root apt-get -qq update
    mapfile -t archives < <(archives)
  fi
  read_archives "${archives[@]}"
  for name in "${names[@]}"; do
    fetch_source "$name" || others+=("$name")
  done
  if [ ${#others[@]} != 0 ]; then
    # The tests pass with the libraries of both releases.
    say "looking for ${others[*]} in Debian 12 and 13"
    address=$(printf '%s\n' "${archives[@]}" | awk '$2 !~ /-/ { print $1; exit }')
    read_archives "$address "{trixie,bookworm}" main"
    for name in "${others[@]}"; do
      fetch_source "$name" || fail "no version of the source package $name is available on this mirror"
    done
  fi
  rm -rf "$deps/apt"
}

# build_and_install ARCHITECTURE NAME SOURCE [CMAKE-OPTION...]: cross-builds a library.
build_and_install() {
  local architecture=$1 name=$2 source=$3
  shift 3
  cmake -S "$source" -B "$deps/build/$architecture/$name" -G Ninja \
    -DCMAKE_TOOLCHAIN_FILE="$root/cmake/mingw-$architecture.cmake" \
    -DCMAKE_INSTALL_PREFIX="$deps/$architecture" -DCMAKE_INSTALL_LIBDIR=lib \
    -DCMAKE_BUILD_TYPE=Release -DBUILD_SHARED_LIBS=OFF "$@" &&
    cmake --build "$deps/build/$architecture/$name" &&
    cmake --install "$deps/build/$architecture/$name"
}

# build_library ARCHITECTURE NAME SOURCE [CMAKE-OPTION...]: the same, unless the library is up to date.
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
    say "$name for $architecture is present"
    return
  fi
  say "building $name for $architecture"
  # The files of an interrupted run may belong to a folder that was moved.
  rm -rf "$deps/build/$architecture/$name"
  mkdir -p "$deps/$architecture/.stamps" "$deps/log"
  quietly "$deps/log/$architecture-$name.log" build_and_install "$architecture" "$name" "$source" "$@"
  rm -rf "$deps/build/$architecture/$name"
  printf '%s\n' "$fingerprint" >"$stamp"
}

build_libraries() {
  local architecture version
  version=$(dpkg-parsechangelog -l "$deps/src/benchmark/debian/changelog" -S Version)
  for architecture in x64 x86; do
    build_library "$architecture" googletest /usr/src/googletest -DINSTALL_GTEST=ON
    build_library "$architecture" jsoncpp "$deps/src/libjsoncpp" \
      -DJSONCPP_WITH_TESTS=OFF -DJSONCPP_WITH_POST_BUILD_UNITTEST=OFF \
      -DBUILD_OBJECT_LIBS=OFF -DBUILD_STATIC_LIBS=ON -DJSONCPP_WITH_PKGCONFIG_SUPPORT=OFF
    # The library takes its version from a Git repository, which the sources in the Debian package are not.
    build_library "$architecture" benchmark "$deps/src/benchmark" "-DGIT_VERSION=${version%-*}" \
      -DBENCHMARK_ENABLE_TESTING=OFF -DBENCHMARK_ENABLE_WERROR=OFF \
      -DBENCHMARK_INSTALL_DOCS=OFF -DHAVE_STD_REGEX=ON -DRUN_HAVE_STD_REGEX=0 \
      -DHAVE_STEADY_CLOCK=ON -DRUN_HAVE_STEADY_CLOCK=0
  done
}

install_packages
fetch_sources
build_libraries
[ "$x86" = no ] || set_up_wine32
say "done"
