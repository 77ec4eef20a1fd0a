#!/usr/bin/env bash
# One entry point for building and checking lorn on a Debian machine.
#
#   ./build.sh run        build the lorn command only, then query the example catalogue
#   ./build.sh test       build everything, then run the whole test suite
#   ./build.sh sanitize   the test suite again under AddressSanitizer and UBSan
#   ./build.sh bench      build and run the benchmarks (see bench/README.md)
#   ./build.sh install-check  install, build examples/host on the package, run it
#   ./build.sh fuzz [S]   build the fuzz targets with clang, run each S seconds (default 60)
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
command -v help2man >/dev/null || need_packages+=(help2man)  # the manual page of lorn
# The Python package: pybind11, the headers and pytest of Debian's Python.
[ -f /usr/lib/cmake/pybind11/pybind11Config.cmake ] || need_packages+=(pybind11-dev)
ls /usr/include/python3*/Python.h >/dev/null 2>&1 || need_packages+=(python3-dev)
/usr/bin/python3 -c "import pytest" 2>/dev/null || need_packages+=(python3-pytest)
if [ "${1:-}" = fuzz ]; then
  command -v clang++ >/dev/null || need_packages+=(clang)
  ls /usr/lib/llvm-*/lib/clang/*/lib/linux/libclang_rt.fuzzer-x86_64.a >/dev/null 2>&1 ||
    need_packages+=(libclang-rt-14-dev)
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
  cmake --build "$dir" -j "$jobs" ${LORN_TARGET:+--target "$LORN_TARGET"}
}

case "${1:-}" in
  run)
    # Only the command, its build output on standard error: standard output
    # holds the query's rows alone.
    LORN_TARGET=lorn_cli configure build >&2
    # Tools under 20, or references E00..., through four columns.
    build/tools/lorn/lorn -q --utf8 query examples/catalogue.txt \
      "FAMILLE=OUTILS & PRIX<20 | REF=E00*" --select REF,LIBELLE,PRIX,COULEUR
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
    configure build-bench -DCMAKE_BUILD_TYPE=Release -DLORN_BUILD_BENCH=ON -DLORN_BUILD_TESTS=OFF \
      -DLORN_BUILD_TOOLS=OFF
    build-bench/bench/lorn_bench "${@:2}"
    ;;
  install-check)
    configure build
    scratch=$(mktemp -d)
    trap 'rm -rf "$scratch"' EXIT
    cmake --install build --prefix "$scratch/prefix" >/dev/null
    # The host sees the installed package only: CMake package, then pkg-config.
    cmake -S examples/host -B "$scratch/host" -G Ninja -DCMAKE_PREFIX_PATH="$scratch/prefix" \
      -DCMAKE_COMPILE_WARNING_AS_ERROR="$werror" >/dev/null
    cmake --build "$scratch/host"
    cp examples/catalogue.txt "$scratch/catalogue.txt"
    "$scratch/host/lorn_host" "$scratch/catalogue.txt" "FAMILLE=JARDIN" "LIBELLE,COULEUR" | tail -n 4
    if command -v pkg-config >/dev/null; then
      pc_path=$(dirname "$(find "$scratch/prefix" -name lorn.pc)")
      libdir=$(PKG_CONFIG_PATH="$pc_path" pkg-config --variable=libdir lorn)
      # shellcheck disable=SC2046  # the flags are meant to split
      "${CXX:-g++}" -std=c++20 -o "$scratch/lorn_host_pc" examples/host/*.cc \
        $(PKG_CONFIG_PATH="$pc_path" pkg-config --cflags --libs lorn) -Wl,-rpath,"$libdir"
      "$scratch/lorn_host_pc" "$scratch/catalogue.txt" "PRIX<20" "LIBELLE,PRIX" >/dev/null
    fi
    ;;
  fuzz)
    # See fuzz/README.md. Each target runs on a copy of its seed corpus; a
    # finding stops the run and leaves its input in build-fuzz/artifacts/.
    seconds=${2:-60}
    CC=clang CXX=clang++ cmake -S . -B build-fuzz -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo \
      -DLORN_WERROR="$werror" -DLORN_BUILD_FUZZ=ON -DLORN_BUILD_TESTS=OFF \
      -DLORN_BUILD_TOOLS=OFF >/dev/null
    cmake --build build-fuzz -j "$jobs" --target fuzz_all
    mkdir -p build-fuzz/artifacts
    for target in cell_grammar line_reader sidecar archive; do
      mkdir -p "build-fuzz/corpus/$target"
      log="build-fuzz/artifacts/$target.log"
      echo "== fuzz_$target for ${seconds}s =="
      status=0
      build-fuzz/fuzz/fuzz_"$target" -max_total_time="$seconds" -timeout=10 \
        -rss_limit_mb=2048 -malloc_limit_mb=512 -print_final_stats=1 \
        -artifact_prefix="build-fuzz/artifacts/$target-" \
        "build-fuzz/corpus/$target" "fuzz/corpus/$target" >"$log" 2>&1 || status=$?
      grep -E '^(stat::number_of_executed_units|stat::peak_rss_mb|Done )' "$log" || true
      if [ "$status" -ne 0 ]; then
        tail -n 80 "$log" >&2
        echo "fuzz_$target found a failure (input in build-fuzz/artifacts/)" >&2
        exit 1
      fi
    done
    ;;
  *)
    sed -n '2,12p' "$0" | sed 's/^# \{0,1\}//'
    exit 2
    ;;
esac
