#!/bin/sh
# Usage: manual_page.sh PROGRAM SUMMARY VERSION PAGE - makes a manual page of what the program's --help says, by help2man.
set -eu
program=$(readlink -f "$1")
temporary=$(mktemp -d)
trap 'rm -rf "$temporary"' EXIT

# Under its bare name, and without what the library itself prints.
stand_in=$temporary/$(basename "$program")
cat > "$stand_in" << EOF
#!/bin/sh
"$program" "\$@" | sed -e '/^ON[UN]*LOAD: /d' -e 's|^Usage: .*/|Usage: |'
EOF
chmod +x "$stand_in"
help2man --no-info --name="$2" --version-string="$3" --output="$4" "$stand_in"
