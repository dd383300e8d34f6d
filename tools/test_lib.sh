# Pieces of ./test: building, the choice of the sandbox, running GoogleTest programs and counting.
UNIT_PROGRAMS="base config device vcore hal shell testwnd channel aging rf fuzz"
THREADED_PROGRAMS="base device vcore hal shell testwnd channel aging"
passed=0 failed=0 skipped=0
failures=() left_out=()
sandbox=handset everything=0
started=$SECONDS

step() { printf '\n== %s (%d s so far)\n' "$1" $((SECONDS - started)); }

check() { # NAME COMMAND...: one check that counts as one test
  local name=$1; shift
  if [ ! -x "$1" ]; then echo "FAIL $name: $1 is missing"; failed=$((failed + 1)); failures+=("$name"); return; fi
  if "$@"; then echo "OK   $name"; passed=$((passed + 1)); else echo "FAIL $name"; failed=$((failed + 1)); failures+=("$name"); fi
}

build() { # PRESET TARGET
  step "Build $1"
  local log="build/$1.log"
  mkdir -p build
  if { [ -f "build/$1/build.ninja" ] || cmake --preset "$1" >"$log" 2>&1; } && ninja -C "build/$1" -j2 "$2" 2>&1 | tee "$log" | show_progress && [ "${PIPESTATUS[0]}" -eq 0 ]; then
    echo "OK   build $1"; passed=$((passed + 1)); return 0
  fi
  grep -E 'error|FAILED|warning' "$log" | head -40
  echo "FAIL build $1 (whole log: $log)"; failed=$((failed + 1)); failures+=("build $1"); return 1
}

show_progress() { # one line per ~10 % of the build
  awk '{ if (match($0, /^\[[0-9]+\/[0-9]+\]/)) { split(substr($0, 2, RLENGTH - 2), n, "/"); p = int(10 * n[1] / n[2]);
         if (p != last) { last = p; printf "  %3d %%  %s\n", p * 10, substr($0, RLENGTH + 2, 60); fflush() } } }'
}

detect_sandbox() {
  if build/release/bin/handset exec -- true >/dev/null 2>build/sandbox.log; then sandbox=handset; return; fi
  sandbox=proot
  echo "No sandbox here: $(head -1 build/sandbox.log)"
  echo "Unit tests run in a proot root instead; tests of the whole handset are left out."
}

boxed() { # PRESET COMMAND...: runs a command where a handset's paths are
  local preset=$1; shift
  local limit=(timeout -k 10 300)
  local options=(ASAN_OPTIONS=detect_leaks=1 TSAN_OPTIONS=second_deadlock_stack=1)
  local plain=()
  # Address randomisation at its widest leaves the thread sanitizer no room.
  [ "$preset" = tsan ] && plain=(setarch "$(uname -m)" -R)
  if [ $sandbox = handset ]; then # the sandbox is always the release build's; what runs in it may be another's
    VXO_SOURCE="$PWD" VXO_BUILD="$PWD/build/release" "${limit[@]}" build/release/bin/handset exec -- \
      "$PWD/tests/support/unit_root" "$PWD/build/$preset" env "${options[@]}" "${plain[@]}" "$@"
  else
    env "${options[@]}" "${limit[@]}" tests/support/proot_box "build/$preset" "${plain[@]}" "$@"
  fi
}

count_gtest() { # NAME STATUS LOG
  local ok bad skip
  ok=$(sed -n 's/^\[  PASSED  \] \([0-9]*\) tests\{0,1\}\..*/\1/p' "$3" | tail -1)
  bad=$(sed -n 's/^ *\([0-9]*\) FAILED TESTS\{0,1\}.*/\1/p' "$3" | tail -1)
  skip=$(sed -n 's/^\[  SKIPPED \] \([0-9]*\) tests\{0,1\}.*/\1/p' "$3" | tail -1)
  if [ "$2" -ne 0 ] && [ -z "$bad" ]; then bad=1; fi   # crashed, timed out or refused by a sanitizer
  if [ -z "$ok" ] && [ -z "$bad" ]; then bad=1; fi      # ran nothing: never counts as success
  passed=$((passed + ${ok:-0})); failed=$((failed + ${bad:-0})); skipped=$((skipped + ${skip:-0}))
  if [ "${bad:-0}" -gt 0 ]; then
    echo "FAIL $1: ${ok:-0} passed, $bad failed (status $2)"; failures+=("$1")
    grep -E '^\[  FAILED  \]|Failure|ERROR: |WARNING: ThreadSanitizer|SUMMARY' "$3" | head -30
    tail -5 "$3"
  else
    echo "OK   $1: $ok passed${skip:+, $skip skipped}"
    [ -n "$skip" ] && sed -n 's/^\[  SKIPPED \] \([A-Z].*\)/       left out: \1/p' "$3" | sort -u
  fi
}

run_unit() { # PRESET ROOM
  local name="unit_$2" log="build/test-$1-$2.log"
  if [ ! -x "build/$1/bin/$name" ]; then echo "FAIL $name ($1): not built"; failed=$((failed + 1)); failures+=("$name $1"); return; fi
  boxed "$1" "$PWD/build/$1/bin/$name" >"$log" 2>&1 </dev/null
  count_gtest "$name ($1)" $? "$log"
}

# Whole handsets under sanitizers: those with threads and text from outside. Left out is what repeats the same code over many
# boots, items or commands (power cuts, all screen sizes, hostile arguments, long runs), what counts wake-ups, and what races
# simulated time at a hundredfold speed.
scenarios_tsan='*-PowerCut.*:AllSizes/*:Twenty.*:Power.TheBatteryByTheCommandLine:Pc.Hostile*:Pc.NoReply*:Demo.*:Audio.ARunIsPassedByEar*:Parts.ARunOf*:Aging.ChargeRequests*'
scenarios_all='*'
scenarios_asan='*RandomOperator*:Robustness.*:Startup.*:Resume.*:Pc.*'

# Whole handsets mostly wait: several run at once. What needs the machine's full speed is run behind them, alone.
HANDSET_SHARDS=4 ALONE='Twenty.*:PowerCut.*'

run_host_tests() { # PROGRAM [PRESET FILTER]: starts its own sandboxes; with PRESET the handset's program is that build's
  local name="$1${2:+ ($2)}" filter=${3:-*} shard
  if [ $sandbox = proot ]; then
    left_out+=("$1: needs user namespaces and /dev/fuse ($(head -1 build/sandbox.log))"); return
  fi
  if [ ! -x "build/release/bin/$1" ]; then echo "FAIL $1: not built"; failed=$((failed + 1)); failures+=("$1"); return; fi
  if [ "$1" != unit_scenario ]; then host_shard "$1" "${2:-}" "$filter" 0 1; count_gtest "$name" $? "$(host_log "$1" "${2:-}" 0)"; return; fi
  [[ $filter == *-* ]] && local shared="$filter:$ALONE" || local shared="$filter-$ALONE"
  local pids=() status
  for ((shard = 0; shard < HANDSET_SHARDS; shard++)); do host_shard "$1" "${2:-}" "$shared" $shard $HANDSET_SHARDS & pids+=($!); done
  for ((shard = 0; shard < HANDSET_SHARDS; shard++)); do
    wait "${pids[shard]}"; status=$?
    count_gtest "$name, $((shard + 1)) of $HANDSET_SHARDS" $status "$(host_log "$1" "${2:-}" $shard)"
  done
  [ -n "${2:-}" ] && [ $everything -eq 0 ] && return
  host_shard "$1" "${2:-}" "$ALONE" alone 1; count_gtest "$name, alone" $? "$(host_log "$1" "${2:-}" alone)"
}

host_log() { echo "build/test-$1${2:+-$2}-$3.log"; } # PROGRAM PRESET SHARD

host_shard() { # PROGRAM PRESET FILTER SHARD OF
  local run=() index=0
  [ -n "$2" ] && run=(VXO_PROGRAM_BUILD="$PWD/build/$2" VXO_TEST_PATIENCE=4 setarch "$(uname -m)" -R)
  [ "$4" = alone ] || index=$4
  timeout -k 10 900 env VXO_SOURCE="$PWD" VXO_BUILD="$PWD/build/release" GTEST_TOTAL_SHARDS="$5" GTEST_SHARD_INDEX="$index" \
    "${run[@]}" "build/release/bin/$1" "--gtest_filter=$3" 2>&1 </dev/null | tee "$(host_log "$1" "$2" "$4")" |
    awk '/^\[       OK|^\[  FAILED|^power cut:/ { print "  " $0; fflush() }'
  return "${PIPESTATUS[0]}"
}

run_browser() { # the handset's page in a real browser
  local log=build/test-browser.log ok bad status
  if [ $sandbox = proot ]; then left_out+=("browser: needs the whole handset"); return; fi
  timeout -k 10 180 tests/browser/run >"$log" 2>&1 </dev/null
  status=$?
  ok=$(grep -c '^OK' "$log"); bad=$(grep -c '^FAIL' "$log")
  [ $status -ne 0 ] && [ "$bad" -eq 0 ] && bad=1
  [ "$ok" -eq 0 ] && [ "$bad" -eq 0 ] && bad=1
  passed=$((passed + ok)); failed=$((failed + bad))
  if [ "$bad" -gt 0 ]; then failures+=("browser"); grep -v '^OK' "$log"; else echo "OK   browser: $ok passed"; fi
}

run_pc_scripts() {
  local log=build/test-pc-scripts.log
  if [ $sandbox = proot ]; then left_out+=("PC scripts: need the whole handset"); return; fi
  tests/support/run_pc_scripts >"$log" 2>&1 </dev/null
  local status=$? ok bad
  ok=$(grep -c '^OK' "$log"); bad=$(grep -c '^FAIL' "$log")
  [ $status -ne 0 ] && [ "$bad" -eq 0 ] && bad=1
  [ "$ok" -eq 0 ] && [ "$bad" -eq 0 ] && bad=1
  passed=$((passed + ok)); failed=$((failed + bad))
  if [ "$bad" -gt 0 ]; then failures+=("PC scripts"); cat "$log"; else echo "OK   PC scripts: $ok passed"; fi
}

finish() {
  printf '\n== Done in %d s\n' $((SECONDS - started))
  local text
  for text in "${left_out[@]:-}"; do [ -n "$text" ] && echo "left out: $text"; done
  for text in "${failures[@]:-}"; do [ -n "$text" ] && echo "failed: $text"; done
  if [ $skipped -gt 0 ]; then echo "$passed passed, $failed failed, $skipped skipped"; else echo "$passed passed, $failed failed"; fi
  [ $failed -eq 0 ] && [ $passed -gt 0 ]
  exit
}
