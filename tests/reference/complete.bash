# SPDX-License-Identifier: Apache-2.0
# Prints what bash offers for the last of some words: bash complete.bash SCRIPT WORD...
# The last word is the one that is being typed; it may be empty.
. /usr/share/bash-completion/bash_completion
. "$1"
shift
COMP_WORDS=("$@")
COMP_CWORD=$(($# - 1))
COMP_LINE="$*"
COMP_POINT=${#COMP_LINE}
COMP_TYPE=9
compopt() { :; }  # configures the line editor, which is not running
function=$(complete -p jorn | sed 's/.* -F \([^ ]*\) .*/\1/')
"$function" "$1" "${COMP_WORDS[COMP_CWORD]}" "${COMP_WORDS[COMP_CWORD - 1]}"
printf '%s\n' "${COMPREPLY[@]}"
