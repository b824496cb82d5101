#!/usr/bin/env bash
# Counts the instructions of one 8 MiB flash write with read-back verification (through
# vx_device_write_flash, against a virtual L840 camera without an exchange log) under
# valgrind's callgrind, and splits them:
#   - by object, self cost: libvxsensor_ext, libvxsensor_sim, libc, libstdc++, the bench
#     binary (its operator new and its timing wrapper around the camera), the rest;
#   - library against emulator: everything below the host functions the library calls
#     (vx_device_send_and_receive_data and the other vx_* functions of libvxsensor_sim) is the
#     emulator's, whatever object it runs in; the remainder is the library's own work, libc
#     calls included.
# Only instructions inside vx_device_write_flash are collected (--toggle-collect).
#   scripts/callgrind.sh            builds build/bench (Release) if needed, then runs
# Output: build/bench/callgrind.flash.out and the tables on stdout.
set -euo pipefail
cd "$(dirname "$0")/.."
source scripts/deps.sh
need_native
need_packages valgrind
cmake -S . -B build/bench -DCMAKE_BUILD_TYPE=Release -DVXSENSOR_BUILD_BENCH=ON \
      -DVXSENSOR_BUILD_TESTS=OFF -DVXSENSOR_BUILD_EXAMPLES=OFF >/dev/null
cmake --build build/bench -j"$(nproc)" --target vxsensor_bench >/dev/null

out=build/bench/callgrind.flash.out
log=$(valgrind --tool=callgrind --callgrind-out-file="$out" --toggle-collect=vx_device_write_flash \
      ./build/bench/bench/vxsensor_bench --flash-write-once 2>/dev/null)
echo "$log"
exchanges=$(sed -n 's/.* \([0-9][0-9]*\) exchanges.*/\1/p' <<<"$log")
usb2=$(sed -n 's/.*, \([0-9.]*\) s on USB 2.0.*/\1/p' <<<"$log")

# Lines of callgrind_annotate: "  1,234 (12.34%)  file:function [object]".
annotate() { callgrind_annotate --threshold=100 "$@" "$out"; }

echo
echo "Self instructions by object (per exchange: $exchanges exchanges)"
annotate --inclusive=no | awk -v n="$exchanges" '
    /^ *[0-9,]+ \(/ && /\[/ {
        ir = $1; gsub(",", "", ir)
        obj = $0; sub(/.*\[/, "", obj); sub(/\].*/, "", obj)
        if (obj ~ /libvxsensor_ext/) k = "libvxsensor_ext"
        else if (obj ~ /libvxsensor_sim/) k = "libvxsensor_sim"
        else if (obj ~ /libc\.so/) k = "libc"
        else if (obj ~ /libstdc\+\+/) k = "libstdc++"
        else if (obj ~ /vxsensor_bench/) k = "bench-binary"
        else k = "other"
        sum[k] += ir; total += ir
    }
    END {
        for (k in sum) printf "  %-16s %14d Ir  %6.2f %%  %9.1f Ir/exchange\n", k, sum[k], 100 * sum[k] / total, sum[k] / n
    }' | sort -k2 -n -r

echo
echo "Library against emulator (inclusive of the library's calls into the host functions)"
total=$(annotate --inclusive=no | awk '/PROGRAM TOTALS/ { gsub(",", "", $1); print $1 }')
annotate --inclusive=yes | awk -v n="$exchanges" -v total="$total" -v usb2="$usb2" '
    /^ *[0-9,]+ \(/ && /libvxsensor_sim/ {
        fn = $0; sub(/^[^:]*:/, "", fn); sub(/ \[.*/, "", fn)
        if (fn ~ /^vx_[a-z_]*$/) { ir = $1; gsub(",", "", ir); host += ir; seen[fn] = ir }
    }
    END {
        lib = total - host
        printf "  emulator (host functions and below) %14d Ir  %6.2f %%  %9.1f Ir/exchange\n", host, 100 * host / total, host / n
        printf "  library (the rest)                  %14d Ir  %6.2f %%  %9.1f Ir/exchange\n", lib, 100 * lib / total, lib / n
        for (fn in seen) printf "    %s: %d Ir\n", fn, seen[fn]
        printf "  USB 2.0 time of these exchanges: %s s (%.1f us per exchange)\n", usb2, 1e6 * usb2 / n
    }'
