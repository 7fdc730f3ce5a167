#!/usr/bin/env bash
# The Android.bp check must refuse what the Android 11 build system refuses:
# each row is a small Android.bp and the one line the check must print for it
# (file:line: and Soong's own message). A row with no message must pass.
#   scripts/test_android_bp_check.sh
set -euo pipefail
cd "$(dirname "$0")/.."
dir=build/android-bp/test
rm -rf "$dir"
failures=0
row() { # NAME EXPECTED BLUEPRINT
  local name=$1 want=$2 file=$dir/$1/Android.bp got status=0
  mkdir -p "$dir/$name"
  printf '%b' "$3" >"$file"
  got=$(scripts/android_bp_check.sh "$file" 2>&1 >/dev/null) || status=$?
  if [ -z "$want" ]; then
    [ "$status" -eq 0 ] && return
    echo "FAIL $name: refused a valid file: $got" >&2
  elif [ "$status" -eq 1 ] && grep -qF -- "$file:$want" <<<"$got"; then
    return
  else
    echo "FAIL $name: exit $status, want \"$file:$want\", got: $got" >&2
  fi
  failures=$((failures + 1))
}

row valid "" \
  'cc_library {\n    name: "a",\n    srcs: ["a.cpp"],\n    shared_libs: ["liblog"],\n    target: {\n        android: {\n            cflags: ["-DA"],\n        },\n    },\n}\n'
row unknown_property '3:10: unrecognized property "srcss"' \
  'cc_library {\n    name: "a",\n    srcss: ["a.cpp"],\n}\n'
row unknown_module_type '5:1: unrecognized module type "license"' \
  'cc_library {\n    name: "a",\n}\n\nlicense {\n    name: "l",\n}\n'
row later_package_property '2:32: unrecognized property "default_applicable_licenses"' \
  'package {\n    default_applicable_licenses: ["l"],\n}\n'
row wrong_value_type '3:12: can'"'"'t assign string value to bool property "gtest"' \
  'cc_test {\n    name: "t",\n    gtest: "no",\n}\n'
row unknown_arch_property '5:18: unrecognized property "target.android.bogus"' \
  'cc_fuzz {\n    name: "f",\n    target: {\n        android: {\n            bogus: true,\n        },\n    },\n}\n'
row undefined_defaults '1:1: "a" depends on undefined module "a_defaults"' \
  'cc_library {\n    name: "a",\n    defaults: ["a_defaults"],\n}\n'
row undefined_filegroup '5:1: "a" depends on undefined module "a_srcs"' \
  'filegroup {\n    name: "a_src",\n}\n\ncc_library {\n    name: "a",\n    srcs: [":a_srcs"],\n    shared_libs: ["liblog"],\n}\n'
row not_bpfmt_form ' not in bpfmt form' \
  'cc_library { name: "a" }\n'

if [ "$failures" -gt 0 ]; then
  echo "test_android_bp_check: $failures row(s) failed" >&2
  exit 1
fi
echo "test_android_bp_check: every row refused or accepted as the Android 11 build system does"
