# Completion for veltra-record in bash.

# Which word is the command: the first that is neither an option nor the value of one. Prints the
# number of words if there is none yet.
_veltra_record_command_index() {
    local index
    for ((index = 1; index < COMP_CWORD; index++)); do
        case ${COMP_WORDS[index]} in
            --) index=$((index + 1)) && break ;;
            -o | --output | --format | --recorder | --socks | --socks6 | --socks-timeout | \
                --trace | --trace-dir)
                index=$((index + 1))
                # The shell takes equals signs and colons for words of their own.
                [[ ${COMP_WORDS[index]} != '=' ]] || index=$((index + 1))
                while [[ ${COMP_WORDS[index + 1]-} == :* ]]; do
                    index=$((index + 2))
                done
                ;;
            -*) ;;
            *) break ;;
        esac
    done
    echo "$index"
}

_veltra_record_complete_option() {
    local current=$1 previous=$2
    case $previous in
        -o | --output) mapfile -t COMPREPLY < <(compgen -f -- "$current") ;;
        --trace-dir) mapfile -t COMPREPLY < <(compgen -d -- "$current") ;;
        --format) mapfile -t COMPREPLY < <(compgen -W 'lines json text' -- "$current") ;;
        --recorder | --socks) mapfile -t COMPREPLY < <(compgen -A hostname -S : -- "$current") ;;
        --socks6 | --socks-timeout | --trace) ;;
        *)
            if [[ $current == -* ]]; then
                mapfile -t COMPREPLY < <(compgen -W '
                    -o --output --format --summary --recorder --socks --socks6 --socks-timeout
                    --double-log --trace --trace-dir --traceback --force -q --quiet -v --verbose
                    -h --help --version' -- "$current")
            else
                mapfile -t COMPREPLY < <(compgen -c -- "$current")
            fi
            ;;
    esac
}

_veltra_record() {
    local current=${COMP_WORDS[COMP_CWORD]} previous=${COMP_WORDS[COMP_CWORD - 1]} index
    COMPREPLY=()
    if [[ $current == '=' ]]; then
        current=
    elif [[ $previous == '=' ]]; then
        previous=${COMP_WORDS[COMP_CWORD - 2]}
    fi
    index=$(_veltra_record_command_index)
    if ((index >= COMP_CWORD)); then
        _veltra_record_complete_option "$current" "$previous"
    elif declare -F _command_offset >/dev/null; then
        # The command has a completion of its own.
        _command_offset "$index"
    else
        mapfile -t COMPREPLY < <(compgen -f -- "$current")
    fi
}

complete -o filenames -F _veltra_record veltra-record
