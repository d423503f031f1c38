# SPDX-License-Identifier: Apache-2.0
# Completion of jorn for bash, with the help of package bash-completion.           -*- shell-script -*-
# Commands and options are those that the tool's own --help tells.

# The lines of a list of --help, without their indentation: _jorn_entries JORN COMMAND LIST
_jorn_entries() {
    "$1" ${2:+"$2"} --help 2>/dev/null | sed -n "/^$3:\$/,/^\$/s/^  \\([^ ].*\\)/\\1/p"
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

# Completes the value of an option, by what --help tells about it: _jorn_value ENTRY
_jorn_value() {
    local range='^[^ ]+ N:INT in \[([0-9]) - ([0-9])\]' choice='^[^ ]+ [^ ]+:\{([^}]*)\}' kind='^[^ ]+ ([A-Z][A-Z,]*(\|[a-z]+)?)'
    if [[ $1 =~ $choice ]]; then
        COMPREPLY=($(compgen -W "${BASH_REMATCH[1]//,/ }" -- "$cur"))
    elif [[ $1 =~ $range ]]; then
        COMPREPLY=($(compgen -W "$(seq "${BASH_REMATCH[1]}" "${BASH_REMATCH[2]}")" -- "$cur"))
    elif [[ $1 =~ $kind ]]; then
        case ${BASH_REMATCH[1]} in
            TIME) COMPREPLY=($(compgen -W 'now today yesterday tomorrow -1h -1d' -- "$cur")) ;;
            LEVEL) COMPREPLY=($(compgen -W "0 1 2 3 $(_jorn_names levels)" -- "$cur")) ;;
            SLOT) COMPREPLY=($(compgen -W "{0..7} $(_jorn_names slots)" -- "$cur")) ;;
            'N|all') COMPREPLY=($(compgen -W all -- "$cur")) ;;
            FILE | PATH) _filedir ;;
            DIR) _filedir -d ;;
        esac
    fi
}

_jorn() {
    local cur prev words cword split
    _init_completion -s || return

    local jorn=${1/#\~\//$HOME/} command=show commands entry options=() names
    commands=$(_jorn_entries "$jorn" "" Subcommands | sed 's/ .*//')
    if ((cword > 1)) && [[ $'\n'$commands$'\n' == *$'\n'"${words[1]}"$'\n'* ]]; then
        command=${words[1]}
    fi
    if ((cword == 2)) && [[ ${words[1]} == help ]]; then
        COMPREPLY=($(compgen -W "$commands" -- "$cur"))
        return
    fi
    while read -r entry; do
        names=${entry%% *}
        if [[ ,$names, == *",$prev,"* && $entry =~ ^[^\ ]+\ ([A-Z][A-Z,]*(\|[a-z]+)?)([:=\ ]|$) ]]; then
            _jorn_value "$entry"
            return
        fi
        options+=(${names//,/ })
    done < <(_jorn_entries "$jorn" "$command" Options; ((cword > 1)) || _jorn_entries "$jorn" "" Options)
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
