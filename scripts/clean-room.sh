#!/bin/sh
# Tries the tree as a new user would, on a minimal Debian that is set up in a folder and removed at the end:
#   scripts/clean-room.sh [bookworm|trixie] [STEP...]      by default trixie, and all steps
# Each step starts with a fresh copy of that system and the files of the last commit, and nothing else:
#   linking   README's section on linking, to the letter, and a plain build without root
#   demo      scripts/demo.sh
#   test      scripts/test.sh in a folder with spaces in its name; then again without root and without /proc
#   ci        .ci/run
# The output of each step goes to build/clean-room. Needs root, on Debian or a derivative.
set -eu
cd "$(dirname "$0")/.."
. scripts/setup.sh

# The outer half owns the folder. Mounts and processes of the inner half are private to it and end with it.
clean_up() { # processes of the inner half may still be ending, and may write until then
    [ -z "$inner" ] || kill -KILL $inner 2>/dev/null || true
    for try in 1 2 3 4 5 6 7 8 9; do
        rm -rf --one-file-system "$room" 2>/dev/null && return
        sleep 1
    done
    rm -rf --one-file-system "$room"
}
if [ "${1:-}" != --inside ]; then
    suite=trixie
    case "${1:-}" in bookworm | trixie) suite=$1 && shift ;; esac
    for step; do
        case "$step" in linking | demo | test | ci) ;; *) sed -n '2,/^set/s/^# \{0,1\}//p' "$0" && exit 2 ;; esac
    done
    setup clean-room
    room=$(mktemp -d /var/tmp/kelaudiofile-room-XXXXXX)
    inner=
    trap clean_up EXIT
    trap 'exit 1' HUP INT TERM
    unshare --mount --pid --fork --kill-child "scripts/${0##*/}" --inside "$room" "$suite" "$@" </dev/null &
    inner=$!
    wait $inner && code=0 || code=$?
    inner=
    exit $code
fi
room=$2 suite=$3
shift 3
[ $# -gt 0 ] || set -- linking demo test ci

make_system() {
    mirror=$(apt-get indextargets --format '$(REPO_URI)' 'Created-By: Packages' 'Label: Debian' | head -n 1)
    debootstrap --variant=minbase "$suite" "$room/base" "$mirror"
    cp /etc/hosts "$room/base/etc/hosts"
    {
        apt-config dump | grep -E '^Acquire::(Check-|https?::Proxy)' || true
        echo 'APT::Get::Assume-Yes "true"; APT::Install-Recommends "false";'
    } >"$room/base/etc/apt/apt.conf.d/99clean-room"
    mkdir -p "$room/packages/partial" build/clean-room
}

enter() { # SYSTEM SCRIPT
    mount -t proc proc "$1/proc"
    mount --rbind /dev "$1/dev"
    mount -t tmpfs tmpfs "$1/dev/shm"
    mount --bind "$room/packages" "$1/var/cache/apt/archives"
    chroot "$1" env -i PATH=/usr/local/sbin:/usr/local/bin:/usr/sbin:/usr/bin:/sbin:/bin HOME=/root LANG=C.UTF-8 \
        DEBIAN_FRONTEND=noninteractive sh -exc "apt-get -qq update; useradd -m user; cd /home/*/k*; $2"
}

linking='
    code() { sed -n "/^## $1\$/,/^## /{/^\`\`\`$2\$/,/^\`\`\`\$/{/^\`\`\`/!p}}" README.md; }
    mkdir /host
    code "A program" cpp | tee host.cpp >/host/host.cpp
    code Linking cmake >/host/CMakeLists.txt
    code Linking sh >/host/commands
    sh -ex /host/commands
    cmake -S /host -B /host/build && cmake --build /host/build
    printf "RIFF\\54\\0\\0\\0WAVEfmt \\20\\0\\0\\0\\1\\0\\1\\0\\200\\273\\0\\0\\0\\167\\1\\0\\2\\0\\20\\0" >a.wav
    printf "data\\10\\0\\0\\0\\0\\100\\0\\200\\0\\0\\0\\0" >>a.wav
    test "$(./host a.wav), $(/host/build/host a.wav)" = "peak 1, peak 1"

    rm -rf build
    chown -R user .
    su user -c "set -e; cmake -S . -B b | tee said; cmake --build b; cmake --install b --prefix i; ls i/lib/*.so"
    test "$(grep -c "^-- The [a-z]* need .*apt-get install .*: left out" said)" = 3
'
demo='scripts/demo.sh; test -s build/demo/waveform.svg'
test='scripts/test.sh; chown -R user .; umount -l /proc; su user -c scripts/test.sh'
ci='bash .ci/run'

echo "Making a minimal Debian $suite"
make_system >"$room/log" 2>&1 || { cat "$room/log" && exit 1; }
passed=0 failed=0
for step; do
    log=$PWD/build/clean-room/$suite-$step.log
    folder=/home/someone/kelaudiofile start=$(date +%s)
    [ "$step" != test ] || folder="/home/some one/kelaudiofile 1"
    cp -a "$room/base" "$room/$step"
    mkdir -p "$room/$step$folder"
    git archive HEAD | tar -x -C "$room/$step$folder"
    eval "script=\$$step"
    outcome="FAILED, as in $log,"
    if (enter "$room/$step" "$script") >"$log" 2>&1; then
        outcome=passed passed=$((passed + 1))
    else
        failed=$((failed + 1))
        tail -n 60 "$log"
    fi
    echo "$suite, $step: $outcome after $(($(date +%s) - start)) s"
done
echo "$passed passed, $failed failed"
[ $failed = 0 ]
