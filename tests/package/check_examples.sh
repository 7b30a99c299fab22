# shellcheck shell=bash
# Runs the examples on the sample profile and judges what they print. Sourced; the arguments are
# the built programs, and $work is a folder for files.

# What the sample scanner's profile is made of (tools/sample): white is the PCS white and black is
# no light at all, whatever the channel; sizes follow from the tables, padded to 4.
check_convert_buffer() {
  local output
  output="$("$1" "$KXCMS_STAGE/scanner.icc")"
  echo "$output"
  grep -q '^device 255 255 255   sRGB 255 255 255$' <<<"$output" || return 1
  grep -q '^device   0   0   0   sRGB   0   0   0$' <<<"$output" || return 1
  [[ "$(grep -c '^device ' <<<"$output")" == 4 ]] || return 1
  # Neither a missing profile nor one without tables passes for success.
  if "$1" "$KXCMS_STAGE/absent.icc" || "$1" "$KXCMS_SOURCE/README.md"; then return 1; fi
}

check_explore_profile() {
  local output expected
  output="$("$1" "$KXCMS_STAGE/scanner.icc")"
  echo "$output"
  # 33 grid points, 1024 input and 4096 output entries of 16 bits, three channels.
  local lut=$((52 + 2 * 3 * (1024 + 33 * 33 * 33 + 4096)))
  expected="class scnr, RGB  to Lab 
tag desc, type desc, $(((12 + 15 + 78 + 3) / 4 * 4)) bytes
tag cprt, type text, $(((8 + 25 + 3) / 4 * 4)) bytes
tag wtpt, type XYZ , 20 bytes
tag A2B0, type mft2, $(((lut + 3) / 4 * 4)) bytes"
  echo "$expected" >"$work/expected"
  head -5 <<<"$output" >"$work/explored"
  diff "$work/expected" "$work/explored" || return 1
  # The last grid node stands one step above 65535, so white may fall short of 100 by a hundredth.
  grep -qE '^RGB     0     0     0   L\*   0\.00  a\* +-?0\.00  b\* +-?0\.00$' <<<"$output" ||
    return 1
  grep -qE '^RGB 65535 65535 65535   L\* (100\.00|99\.99)  a\* +-?0\.00  b\* +-?0\.00$' \
    <<<"$output" || return 1
  if "$1" "$KXCMS_STAGE/absent.icc" || "$1" "$KXCMS_SOURCE/README.md"; then return 1; fi
}

# The example in Python as a program: convert_array PROFILE, with the package that PYTHONPATH says.
convert_array() { /usr/bin/python3 -B "$KXCMS_SOURCE/examples/convert_array.py" "$1"; }

# White is white; a brown remains one, with the alpha that it had.
check_convert_image() {
  local output lines
  output="$("$1" "$KXCMS_STAGE/scanner.icc")"
  echo "$output"
  mapfile -t lines <<<"$output"
  [[ "${lines[0]}" == "white: 255 255 255" ]] || return 1
  [[ "${lines[1]}" =~ ^brown:\ ([0-9]+)\ ([0-9]+)\ ([0-9]+),\ alpha\ 128$ ]] || return 1
  ((BASH_REMATCH[1] > BASH_REMATCH[2] && BASH_REMATCH[2] > BASH_REMATCH[3])) || return 1
  # Why a profile cannot be used stands on standard error.
  if "$1" "$KXCMS_STAGE/absent.icc" 2>"$work/why"; then return 1; fi
  grep -qx "$KXCMS_STAGE/absent.icc: The file cannot be opened: No such file or directory." \
    "$work/why" || return 1
  if "$1" "$KXCMS_SOURCE/README.md" 2>"$work/why"; then return 1; fi
  grep -q "'acsp'" "$work/why" || return 1
}
