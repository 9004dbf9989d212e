#!/bin/sh
# manual_pages.sh PROGRAM COMMAND… writes velto.1 and velto-COMMAND.1 to this folder, from what
# --help prints. Their month is that of SOURCE_DATE_EPOCH where it is set.
set -eu
program=$1
shift
folder=$(dirname "$(readlink -f "$0")")
version=$("$program" --version | sed 's/.* //')

# page NAME TITLE COMMAND…: help2man reads what the file NAME prints, and knows "Usage:" alone.
page() {
  name=$1 title=$2
  shift 2
  printf '#!/bin/sh\n%s --help | sed "s/^usage:/Usage:/"\n' "'$program' $*" >"$name"
  chmod +x "$name"
  help2man --no-info --no-discard-stderr --version-string="$name $version" --name="$title" \
    --include="$folder/every_page.h2m" --output="$name.1" "./$name"
  rm "$name"
}

page velto "SEMI equipment communication"
for command; do
  page "velto-$command" "$("$program" --help | sed -n "s/^  $command  *//p")" "$command"
done
