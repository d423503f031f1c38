# SPDX-License-Identifier: Apache-2.0
# Prints what zsh offers for the last of some words: zsh -f complete.zsh FOLDER WORD...
# FOLDER holds the function _jorn. The last word is the one that is being typed; it may be empty. A shell on a
# terminal of its own gets the line and a tab.
zmodload zsh/zpty || exit 1
folder=$1
shift
zpty shell zsh -f -i
zpty -w shell "PROMPT= fpath=(${(q)folder} \${(M)fpath:#*/Completion(|/(Base|Unix|Zsh))}); stty -echo; zle_bracketed_paste=()
autoload -Uz compinit; compinit -u -D
zstyle ':completion:*' list-prompt ''
compadd () {
    local -a offered
    if [[ \${@[1,(i)(-|--)]} == *-(O|A|D)\ * ]]; then
        builtin compadd \"\$@\"
        return
    fi
    builtin compadd -O offered \"\$@\"
    [[ \$#offered = 0 ]] || print -rl -- \$'\\2'\$^offered
    builtin compadd \"\$@\"
}
comppostfuncs=(offered_end)
offered_end() { print -r -- \$'\\3'; compstate[insert]= compstate[list]= }
bindkey '^I' complete-word
zle-line-init() { print -r -- READY=\$((40 + 2)) }
zle -N zle-line-init"
# Before the line editor controls the terminal, a tab would be part of a plain line.
zpty -r -m shell line '*READY=42*' || exit 1
zpty -w -n shell "${(j: :)${(q)@[1,-2]}} ${@[-1]}"$'\t'
all=
while zpty -r shell line; do
    all+=$line
    [[ $line != *$'\3'* ]] || break
done
zpty -d shell
print -r -- $all | tr -d '\r' | sed -n 's/.*\x02//p'
