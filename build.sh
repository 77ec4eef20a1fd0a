#!/usr/bin/env bash
# One entry point for building and checking lorn on a Debian machine.
#
#   ./build.sh run        build everything, then query the example catalogue
#   ./build.sh test       build everything, then run the whole test suite
#   ./build.sh sanitize   the test suite again under AddressSanitizer and UBSan
#   ./build.sh bench      build and run the benchmarks (see bench/README.md)
#
# Missing build tools are installed with apt-get when the script may do so.
# LORN_WERROR=ON turns warnings into errors (CI sets it).
set -euo pipefail
cd "$(dirname "$0")"

need_packages=()
command -v cmake >/dev/null || need_packages+=(cmake)
command -v ninja >/dev/null || need_packages+=(ninja-build)
command -v g++ >/dev/null || need_packages+=(g++)
[ -f /usr/include/gtest/gtest.h ] || need_packages+=(libgtest-dev libgmock-dev)
if [ "${1:-}" = bench ]; then
  [ -f /usr/include/benchmark/benchmark.h ] || need_packages+=(libbenchmark-dev)
fi
if [ ${#need_packages[@]} -gt 0 ]; then
  echo "installing: ${need_packages[*]}" >&2
  sudo_cmd=""
  [ "$(id -u)" -eq 0 ] || sudo_cmd="sudo"
  $sudo_cmd apt-get update -qq
  DEBIAN_FRONTEND=noninteractive $sudo_cmd apt-get install -y -qq "${need_packages[@]}"
fi

jobs=$(nproc 2>/dev/null || echo 2)
werror=${LORN_WERROR:-OFF}

configure() {  # build-dir extra-cmake-args...
  local dir=$1
  shift
  cmake -S . -B "$dir" -G Ninja -DLORN_WERROR="$werror" "$@" >/dev/null
  cmake --build "$dir" -j "$jobs"
}

case "${1:-}" in
  run)
    configure build
    if [ -x build/tools/lorn/lorn ]; then
      build/tools/lorn/lorn -q query examples/catalogue.txt \
        "FAMILLE=OUTILS & PRIX<50 | COULEUR=ROUGE" --columns REF,LIBELLE,PRIX,COULEUR
    else
      build/examples/show_columns examples/catalogue.txt
    fi
    ;;
  test)
    configure build
    ctest --test-dir build -j "$jobs" --output-on-failure
    ;;
  sanitize)
    configure build-sanitize -DCMAKE_BUILD_TYPE=Debug -DLORN_SANITIZE=ON -DLORN_BUILD_TOOLS=ON
    ASAN_OPTIONS=detect_leaks=1:abort_on_error=1 \
      UBSAN_OPTIONS=halt_on_error=1:print_stacktrace=1 \
      ctest --test-dir build-sanitize -j "$jobs" --output-on-failure
    ;;
  bench)
    configure build-bench -DCMAKE_BUILD_TYPE=Release -DLORN_BUILD_BENCH=ON
    build-bench/bench/lorn_bench "${@:2}"
    ;;
  *)
    sed -n '2,10p' "$0" | sed 's/^# \{0,1\}//'
    exit 2
    ;;
esac
