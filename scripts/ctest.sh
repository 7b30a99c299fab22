# How the scripts beside this file run tests. Sourced by them.

# run_tests PRESET [BUILD]: runs a test preset of build/BUILD (default: build/PRESET), and names at
# the end what was skipped and why: tests print "SKIP: REASON" where the system refuses what they
# need.
run_tests() {
  local status=0
  ctest --preset "$1" -j2 || status=$?
  awk '/^[0-9]+\/[0-9]+ Test: / { name = $3 }
       /^SKIP: / { print "SKIP: " name ": " substr($0, 7) }' \
    "build/${2:-$1}/Testing/Temporary/LastTest.log"
  return "$status"
}
