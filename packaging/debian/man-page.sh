#!/bin/sh
# Makes the man page of a program from what its --help says: man-page.sh PROGRAM PAGE. The page bears the date of the
# package's changelog, so that it is the same whenever it is made.
set -eu
program=$1 page=$2
export SOURCE_DATE_EPOCH
SOURCE_DATE_EPOCH=$(dpkg-parsechangelog -l "$(dirname "$0")/changelog" -S Timestamp)
what=$("$program" --help | sed -n '1s/\..*//p')
help2man --no-info --name "$what" --output "$page" "$program"
gzip -9nf "$page"
