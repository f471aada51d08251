#!/bin/sh
# Generates the man page of a program from its --help: man-page.sh PROGRAM PAGE. The page carries the date of the
# package's changelog, so that it does not depend on when it is built.
set -eu
program=$1 page=$2
export SOURCE_DATE_EPOCH
SOURCE_DATE_EPOCH=$(dpkg-parsechangelog -l "$(dirname "$0")/changelog" -S Timestamp)
what=$("$program" --help | sed -n '1s/\..*//p')
help2man --no-info --name "$what" --output "$page" "$program"
gzip -9nf "$page"
