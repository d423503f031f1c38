# SPDX-License-Identifier: Apache-2.0
# Completion of jorn for bash, with the help of package bash-completion.           -*- shell-script -*-
# Commands and options are those that the tool's own --help lists.

# The commands of --help: _jorn_commands JORN
_jorn_commands() {
    "$1" --help 2>/dev/null | sed -n '/^Commands:$/,/^$/s/^  \([^ ]*\).*/\1/p'
}

# The options of --help, each on a line of its own, its names without a blank: _jorn_options JORN COMMAND
_jorn_options() {
    "$1" ${2:+"$2"} --help 2>/dev/null | awk '
        function flush() { if (entry != "") print entry; entry = "" }
        /^(  -|      --)/ { flush(); sub(/^ +/, ""); sub(/, --/, ",--"); entry = $0; next }
        /^                    / && entry != "" { sub(/^ +/, " "); entry = entry $0; next }
        { flush() }
        END { flush() }'
}

# The names of levels or slots, of --names or beside the data: _jorn_names SECTION
# Plain words only: the shell would expand others.
_jorn_names() {
    local index file
    for ((index = 1; index < ${#words[@]}; ++index)); do
        file=${words[index]/#\~\//$HOME/}
        [[ ${words[index - 1]} == --names && -f $file ]] || file=$file/jorn.names
        [[ -f $file ]] || continue
        sed -n "/^\\[$1\\]/,/^\\[/s/^[[:space:]]*[0-9][0-9]*[[:space:]]*=[[:space:]]*\\([[:alpha:]_][[:alnum:]_.+-]*\\)[[:space:]]*\\(;.*\\)\\{0,1\\}\$/\\1/p" \
            "$file"
        return
    done
}

# Completes the value of an option, by what --help says about it: _jorn_value KIND ENTRY
_jorn_value() {
    local range='[^0-9]([0-9]) to ([0-9])([^0-9]|$)' choices
    case $1 in
        TIME) COMPREPLY=($(compgen -W 'now today yesterday tomorrow -1h -1d' -- "$cur")) ;;
        LEVEL) COMPREPLY=($(compgen -W "0 1 2 3 $(_jorn_names levels)" -- "$cur")) ;;
        SLOT) COMPREPLY=($(compgen -W "{0..7} $(_jorn_names slots)" -- "$cur")) ;;
        STAMP) COMPREPLY=($(compgen -W 'iso syslog rfc5424 kmsg logcat epoch' -- "$cur")) ;;
        FORM | SPAN | WHAT | WHEN)
            choices=${2##*: }
            choices=${choices##*  }
            choices=${choices// (default)/}
            choices=${choices// or /, }
            COMPREPLY=($(compgen -W "${choices//,/ }" -- "$cur"))
            ;;
        N)
            if [[ $2 =~ $range ]]; then
                COMPREPLY=($(compgen -W "$(seq "${BASH_REMATCH[1]}" "${BASH_REMATCH[2]}")" -- "$cur"))
            elif [[ $2 == *' or all '* ]]; then
                COMPREPLY=($(compgen -W all -- "$cur"))
            fi
            ;;
        FILE | PATH) _filedir ;;
    esac
}

_jorn() {
    local cur prev words cword split
    _init_completion -s || return

    local jorn=${1/#\~\//$HOME/} command=show commands entry options=() names
    commands=$(_jorn_commands "$jorn")
    if ((cword > 1)) && [[ $'\n'$commands$'\n' == *$'\n'"${words[1]}"$'\n'* ]]; then
        command=${words[1]}
    fi
    if ((cword == 2)) && [[ ${words[1]} == help ]]; then
        COMPREPLY=($(compgen -W "$commands" -- "$cur"))
        return
    fi
    while read -r entry; do
        names=${entry%% *}
        if [[ ,$names, == *",$prev,"* && $entry =~ ^[^\ ]+\ ([A-Z][A-Z,]*)\  ]]; then
            _jorn_value "${BASH_REMATCH[1]}" "$entry"
            return
        fi
        options+=(${names//,/ })
    done < <(_jorn_options "$jorn" "$command"; ((cword > 1)) || _jorn_options "$jorn" "")
    $split && return

    if [[ $cur == -* ]]; then
        COMPREPLY=($(compgen -W '${options[*]}' -- "$cur"))
        return
    fi
    _filedir -d
    if ((cword == 1)); then
        COMPREPLY+=($(compgen -W "$commands" -- "$cur"))
    fi
} && complete -F _jorn jorn
