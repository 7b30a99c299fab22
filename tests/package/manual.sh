#!/bin/bash
# The manual pages: each is well-formed, every C function has one, and they tell every option, output
# space and code that there is.
set -euo pipefail

failed=0
complain() {
  echo "$*"
  failed=1
}
cd "$KXCMS_STAGE/usr"
declare -A text
mapfile -t commandPages < <(cd share/man && printf '%s\n' man1/*.1.gz)
((${#commandPages[@]} >= 6)) || complain "pages of commands are missing"
for page in "${commandPages[@]%.gz}" man3/kxcms.3 man3/kxcms-pipeline.3; do
  warnings="$(LC_ALL=C.UTF-8 MANWIDTH=100 MANROFFSEQ='' man --warnings -E UTF-8 -l -Tutf8 -Z \
    "share/man/$page.gz" 2>&1 >/dev/null)"
  [[ -z "$warnings" ]] || complain "$page: $warnings"
  lexgrog "share/man/$page.gz" >/dev/null || complain "$page: no usable NAME section"
  # Wide, without hyphens, so that no name is broken.
  text[$page]="$(LC_ALL=C.UTF-8 MANWIDTH=10000 man --no-hyphenation -l "share/man/$page.gz" |
    col -b)"
done
tells() { grep -qF -- "$2" <<<"${text[$1]}" || complain "$1 does not tell $2"; }

header="$KXCMS_SOURCE/interface/kxcms.h"
functions="$(grep -oE 'KX_C_API int KX_Icc_\w+' "$header" | grep -oE 'KX_Icc_\w+')"
(($(wc -l <<<"$functions") >= 19)) || complain "functions are missing in kxcms.h"
for function in $functions; do
  [[ -e "share/man/man3/$function.3.gz" ]] || complain "$function has no page"
  tells man3/kxcms.3 "$function("
done
codes="$(grep -ohE '\bKX_(COLOR|INTENT|RESULT)_[A-Z0-9_]+\b' "$header" \
  "$KXCMS_SOURCE/codes/CodeLists.h" | grep -vx KX_COLOR_CODES | sort -u)"
(($(wc -l <<<"$codes") >= 49)) || complain "codes are missing in CodeLists.h"
for code in $codes; do
  # 16-bit codes are told by a rule; spaces that are not accepted, not at all.
  [[ "$code" == *_16 ]] ||
    [[ "$code" =~ _(LAB|CMYK|XYZ|CMY|CLR6|CLR7|YCC)$ ]] || tells man3/kxcms.3 "$code"
done

header="$KXCMS_SOURCE/api/pipeline.h"
functions="$(sed -n 's/^KXP_API [^(]*\(kxp_[a-z0-9_]*\)(.*/\1/p' "$header")"
(($(wc -l <<<"$functions") >= 19)) || complain "functions are missing in pipeline.h"
for function in $functions; do
  [[ -e "share/man/man3/$function.3.gz" ]] || complain "$function has no page"
  tells man3/kxcms-pipeline.3 "$function("
done
constants="$(grep -oE '^  KXP_[A-Z0-9_]+ = ' "$header" | grep -oE 'KXP_\w+')"
(($(wc -l <<<"$constants") >= 47)) || complain "constants are missing in pipeline.h"
for constant in $constants; do tells man3/kxcms-pipeline.3 "$constant"; done

export LD_LIBRARY_PATH="$KXCMS_LIBDIR"
# Every command has a page, or is described in the first one, with every option that it has.
commandsOf() { bin/kxcms "$@" --help | sed -n '/^Subcommands:/,$s/^  \([a-z]\+\) .*/\1/p'; }
tellsOptions() {
  local page="$1" option
  shift
  for option in $(bin/kxcms "$@" --help | grep -oE -- '^  -\S+' | grep -oE -- '--[a-z-]+' | sort -u); do
    # The first page tells that every command has it.
    [[ "$option" == --help && "$page" != man1/kxcms.1 ]] || tells "$page" "$option"
  done
}
tellsOptions man1/kxcms.1
commands="$(commandsOf)"
(($(wc -l <<<"$commands") >= 6)) || complain "commands are missing"
for command in $commands; do
  page="man1/kxcms-$command.1"
  tells man1/kxcms.1 "kxcms $command"
  [[ -n "${text[$page]:-}" ]] || page=man1/kxcms.1
  tellsOptions "$page" "$command"
  for below in $(commandsOf "$command"); do
    tells "$page" "kxcms $command $below"
    tellsOptions "$page" "$command" "$below"
  done
done
for page in "${commandPages[@]%.gz}"; do
  [[ "$(tr '\n' ' ' <<<"${text[$page]}")" == *EXAMPLES* ]] || complain "$page has no examples"
done
spaces="$(bin/kxcms convert --list | cut -d' ' -f1)"
(($(wc -l <<<"$spaces") >= 12)) || complain "output spaces are missing"
for space in $spaces; do tells man1/kxcms-convert.1 "$space"; done
exit "$failed"
