#!/usr/bin/env bash
# Builds the Debian package, checks it with lintian, installs it, tries it as
# two operators and as a user outside the operators' group, then purges it and
# checks that nothing is left but what Debian policy keeps.
#
# It changes this machine: it installs packages (lintian, dpkg-dev, ...),
# installs and purges lumarex, and adds and deletes the users lumarex-op1,
# lumarex-op2 and lumarex-guest. Run it as root on a test machine; it is not
# part of scripts/test.sh. Exit code 0 when every check passed.
set -euo pipefail
cd "$(dirname "$0")/.."

if [ "$(id -u)" != 0 ]; then
  echo "check-package: run as root (it installs and purges the package)" >&2
  exit 2
fi

build=build/package
package=lumarex
group=lumarex
shared=/var/lib/lumarex
components=/usr/lib/$(dpkg-architecture -qDEB_HOST_MULTIARCH 2>/dev/null || gcc -print-multiarch)/lumarex
operators=(lumarex-op1 lumarex-op2)
guest=lumarex-guest
work=$(mktemp -d /tmp/check-package.XXXXXX)
failures=()

say() { printf '\n== %s\n' "$*"; }
pass() { echo "ok    $1"; }
fail() {
  echo "FAIL  $1"
  failures+=("$1")
}
# check DESCRIPTION COMMAND...: runs the command, records the result.
check() {
  local what=$1
  shift
  if "$@"; then pass "$what"; else fail "$what"; fi
}

# A user's command with an empty environment: the installed programs must need
# no variables. No screen here, so Qt draws offscreen.
as_user() {
  local user=$1
  shift
  runuser -u "$user" -- env -i HOME="/home/$user" USER="$user" LOGNAME="$user" PATH=/usr/bin:/bin \
    LANG=C.UTF-8 QT_QPA_PLATFORM=offscreen "$@"
}

delete_users() {
  for u in "${operators[@]}" "$guest"; do
    if id "$u" >/dev/null 2>&1; then userdel -r "$u" 2>/dev/null || userdel "$u"; fi
  done
}
cleanup() {
  delete_users
  # What programs run outside the package had left in the shared folder goes back.
  if [ -e "$work/shared-before" ]; then
    rm -rf "$shared"
    mv "$work/shared-before" "$shared"
  fi
  rm -rf "$work"
}
trap cleanup EXIT

# Every file and folder outside the places that change on their own (package
# manager state, caches, logs, home folders, temporary files).
snapshot() {
  find / -xdev \( -path /proc -o -path /sys -o -path /dev -o -path /run -o -path /tmp -o -path /var/tmp \
    -o -path /home -o -path /root -o -path /work -o -path /var/cache -o -path /var/log \
    -o -path /var/lib/apt -o -path /var/lib/dpkg -o -path /var/backups -o -path /var/mail \
    -o -path "$PWD/build" \) -prune -o -print 2>/dev/null | sort
}

say "Tools"
scripts/install-deps.sh lintian dpkg-dev fakeroot file adduser passwd util-linux gzip
if dpkg-query -W -f='${Status}' "$package" 2>/dev/null | grep -q 'installed\|config-files'; then
  echo "Purging the $package package left from an earlier run"
  apt-get purge -y -qq "$package" >/dev/null
fi
# The checks start from a machine without the package's folder: one left by
# programs run from a build tree is kept aside and put back at the end.
if [ -e "$shared" ]; then
  echo "Keeping $shared (left by programs run outside the package) aside until the end"
  mv "$shared" "$work/shared-before"
fi

say "Build ($build, release, Debian's hardening flags)"
# -g only makes the build slower: the package's files are stripped.
CXXFLAGS="$(dpkg-buildflags --get CXXFLAGS | sed -E 's/(^| )-g( |$)/ /') $(dpkg-buildflags --get CPPFLAGS)"
LDFLAGS="$(dpkg-buildflags --get LDFLAGS) -Wl,-z,now"
export CXXFLAGS LDFLAGS
cmake -S . -B "$build" -G Ninja -DCMAKE_BUILD_TYPE=Release -DCMAKE_INSTALL_PREFIX=/usr \
  -DLUMAREX_BUILD_TESTS=OFF -DLUMAREX_BUILD_BENCH=OFF >/dev/null
rm -f "$build"/${package}_*.deb
if ! cmake --build "$build" -j2 --target package >"$work/build.log" 2>&1; then
  tail -n 40 "$work/build.log"
  echo "check-package: the package build failed" >&2
  exit 1
fi
grep -E '^CPack' "$work/build.log"
deb=$(ls "$build"/${package}_*.deb)
files=$(dpkg-deb -c "$deb" | grep -vc '/$')
echo "package: $deb"
echo "size: $(stat -c %s "$deb") bytes; installed size: $(dpkg-deb -f "$deb" Installed-Size) KiB; files: $files"
dpkg-deb -f "$deb" Package Version Architecture Depends
dpkg-deb -c "$deb" | awk '{print $1, $2, $6}' | grep -v '/$'

say "lintian"
# Warnings we keep, each with its reason. Any other warning or any error fails;
# notes ("I:") are shown and do not fail.
declare -A kept=(
  # The package is not uploaded to Debian, so there is no "intent to package"
  # bug for its first change-log entry to close.
  [initial-upload-closes-no-bugs]="not meant for the Debian archive"
)
lintian --display-info --tag-display-limit 0 "$deb" >"$work/lintian.txt" 2>&1 || true
cat "$work/lintian.txt"
if grep -q '^E: ' "$work/lintian.txt"; then fail "lintian: no errors"; else pass "lintian: no errors"; fi
unexplained=$(grep '^W: ' "$work/lintian.txt" | awk '{print $3}' | sort -u | while read -r tag; do
  [ -n "${kept[$tag]:-}" ] || echo "$tag"
done)
if [ -n "$unexplained" ]; then fail "lintian: unexplained warnings: $unexplained"; else pass "lintian: warnings explained"; fi

say "Install"
snapshot >"$work/before.txt"
apt-get install -y -qq "./$deb" >"$work/install.log" 2>&1 || {
  cat "$work/install.log"
  fail "apt-get install"
}
check "installed" dpkg-query -W -f='${Status}\n' "$package"
check "group $group exists" getent group "$group"
check "$shared is setgid, group-writable, root:$group" \
  test "$(stat -c '%a %U:%G' "$shared")" = "2775 root:$group"
check "machine.ini is group-writable" test "$(stat -c '%a %G' "$shared/machine.ini")" = "664 $group"
check "class registry names the plug-in in $components" \
  grep -q "Library=$components/libzolQMDVariablePlugin.so" "$shared/machine.ini"
check "AppPath is the shared folder" grep -q "AppPath=$shared\$" "$shared/machine.ini"
check "the current variable file is in the shared folder" \
  grep -q "QMDVarFileLoc=$shared/QMDvarinfo.vls" "$shared/machine.ini"
check "programs have no RPATH and need no private library" \
  sh -c "! readelf -d /usr/bin/Lumarex /usr/bin/lumarex-emulator | grep -q 'RPATH\|RUNPATH'"
check "manual pages" test -f /usr/share/man/man1/Lumarex.1.gz -a -f /usr/share/man/man1/lumarex-emulator.1.gz
check "desktop entries" test -f /usr/share/applications/lumarex.desktop -a -f /usr/share/applications/lumarex-emulator.desktop

say "Operators"
for u in "${operators[@]}"; do useradd -m -G "$group" "$u"; done
useradd -m "$guest"
op1=${operators[0]}
op2=${operators[1]}
id "$op1"
id "$guest"

as_user "$op1" Lumarex --self-test >"$work/selftest.txt" 2>&1 && status=0 || status=$?
cat "$work/selftest.txt"
check "Lumarex --self-test as $op1" test "$status" = 0
check "the host rewrote the machine-wide settings as $op1, group-writable" \
  test "$(stat -c '%U %G %a' "$shared/machine.ini")" = "$op1 $group 664"

as_user "$op1" lumarex-emulator --headless --quit-after 500 >"$work/emulator.txt" 2>&1 && status=0 || status=$?
cat "$work/emulator.txt"
check "lumarex-emulator --headless --quit-after 500 as $op1" \
  sh -c "test $status = 0 && grep -q '^LISTENING' '$work/emulator.txt'"

as_user "$op2" Lumarex --self-test >/dev/null 2>&1 && status=0 || status=$?
check "Lumarex --self-test as $op2" test "$status" = 0

if [ -x /usr/bin/qmdvars ]; then
  as_user "$op1" qmdvars show 1 && status=0 || status=$?
  check "qmdvars show 1 as $op1" test "$status" = 0
  text="Saved by $op1 $$"
  as_user "$op1" qmdvars set 1 --data "$text" && status=0 || status=$?
  check "qmdvars set 1 as $op1" test "$status" = 0
  check "the variable file is group-writable" \
    test "$(stat -c '%G %a' "$shared/QMDvarinfo.vls" 2>/dev/null)" = "$group 664"
  as_user "$op2" qmdvars show 1 >"$work/show-op2.txt" 2>&1 || true
  check "$op2 sees the save of $op1" grep -qF "$text" "$work/show-op2.txt"
  as_user "$op2" qmdvars set 2 --data "Saved by $op2" && status=0 || status=$?
  check "$op2 saves over $op1's file" test "$status" = 0
  # The save changed the host's copy of variable 2: the settings file op1 wrote is op2's now.
  check "$op2 replaces $op1's settings file, group-writable" \
    test "$(stat -c '%U %G %a' "$shared/machine.ini")" = "$op2 $group 664"

  say "A user outside the group"
  sum=$(md5sum "$shared"/machine.ini "$shared"/QMDvarinfo.vls)
  as_user "$guest" qmdvars show 1 >"$work/show-guest.txt" 2>&1 || true
  check "$guest reads the shared variables" grep -qF "$text" "$work/show-guest.txt"
  as_user "$guest" qmdvars set 1 --data "Saved by $guest" && status=0 || status=$?
  echo "qmdvars set as $guest: exit code $status"
  as_user "$guest" Lumarex --self-test >/dev/null 2>&1 && status=0 || status=$?
  check "Lumarex --self-test as $guest" test "$status" = 0
  check "nothing the group wrote is lost" test "$sum" = "$(md5sum "$shared"/machine.ini "$shared"/QMDvarinfo.vls)"
else
  fail "qmdvars show 1 as $op1: /usr/bin/qmdvars is not in this build (the command-line tool is not merged yet)"
  say "A user outside the group"
  sum=$(md5sum "$shared"/machine.ini)
  as_user "$guest" Lumarex --self-test >/dev/null 2>&1 && status=0 || status=$?
  check "Lumarex --self-test as $guest (reads the registry, its writes are dropped)" test "$status" = 0
  check "nothing the group wrote is lost" test "$sum" = "$(md5sum "$shared"/machine.ini)"
fi

say "Remove and purge"
apt-get remove -y -qq "$package" >/dev/null 2>&1 || fail "apt-get remove"
check "removing unregisters the component libraries" \
  sh -c "! grep -q 'Library=' '$shared/machine.ini'"
check "removing keeps the operators' files" test -f "$shared/machine.ini"
apt-get purge -y -qq "$package" >/dev/null 2>&1 || fail "apt-get purge"
check "purged" sh -c "! dpkg-query -W '$package' >/dev/null 2>&1"
check "purging removes $shared" test ! -e "$shared"
delete_users
snapshot >"$work/after.txt"
# useradd and userdel of this script's own users keep backups of the files
# they change (/etc/subuid- ...); they are not the package's.
left=$(comm -13 "$work/before.txt" "$work/after.txt" | grep -Ev '^/etc/(passwd|group|shadow|gshadow|subuid|subgid)-$' || true)
gone=$(comm -23 "$work/before.txt" "$work/after.txt")
[ -z "$left" ] || printf 'left behind:\n%s\n' "$left"
[ -z "$gone" ] || printf 'missing after purge:\n%s\n' "$gone"
check "nothing is left behind and nothing else is gone" test -z "$left$gone"
# Debian policy keeps a system group made by a package: files elsewhere
# (backups, copies) may still carry its id, and a later install reuses it.
check "the group $group is kept" getent group "$group"

say "Summary"
echo "package: $deb ($(stat -c %s "$deb") bytes, $files files)"
if [ ${#failures[@]} -gt 0 ]; then
  printf 'FAILED: %s\n' "${failures[@]}"
  exit 1
fi
echo "check-package: all checks passed"
