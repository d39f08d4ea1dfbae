#!/bin/sh
# What "cmake --install" puts where, and that it works from there. Usage: install_test.sh BUILD_DIR
set -eu
box=$(mktemp -d)
trap 'rm -rf "$box"' EXIT
cmake --install "$1" --prefix "$box" >"$box.log" || {
    cat "$box.log"
    exit 1
}
rm -f "$box.log"
cd "$box"
failures=0
fail() {
    echo "FAIL: $1"
    failures=$((failures + 1))
}

for program in bin/vorn bin/vorn-lab share/vorn/capture.sh; do
    [ -x "$program" ] || fail "$program: not there, or cannot be run"
done
for page in share/man/man8/vorn.8 share/man/man1/vorn-lab.1; do
    grep -q '^\.Sh NAME' "$page" || fail "$page: no manual page"
done
bin/vorn-lab --version | grep -q '^vorn-lab [0-9]' || fail "bin/vorn-lab --version"
sh share/vorn/capture.sh -h | grep -q '^Usage: ' || fail "capture.sh -h"
grep -q '__vorn_lab_at' share/fish/vendor_completions.d/vorn-lab.fish || fail "completion for fish"
grep -q '^#compdef vorn-lab$' share/zsh/site-functions/_vorn-lab || fail "completion for zsh"
found=$(bash -c 'source share/bash-completion/completions/vorn-lab.bash
    COMP_WORDS=(vorn-lab repl) COMP_CWORD=1
    _vorn_lab && echo "${COMPREPLY[@]}"')
[ "$found" = replay ] || fail "completion for bash gives: $found"
[ "$failures" -eq 0 ]
