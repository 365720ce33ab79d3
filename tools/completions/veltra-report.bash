# Completion for veltra-report in bash.

_veltra_report() {
    local current=${COMP_WORDS[COMP_CWORD]} previous=${COMP_WORDS[COMP_CWORD - 1]}
    local reports='summary text json pcap html' report= before= word
    for word in "${COMP_WORDS[@]:1:COMP_CWORD-1}"; do
        case $before in
            -o | --output | '=') ;;
            *) [[ " $reports " != *" $word "* ]] || report=$word ;;
        esac
        before=$word
    done
    if [[ $current == -* && $previous != -o && $previous != --output ]]; then
        mapfile -t COMPREPLY < <(compgen -W '-o --output -h --help --version' -- "$current")
    elif [[ -z $report && $previous != -o && $previous != --output && $previous != '=' ]]; then
        mapfile -t COMPREPLY < <(compgen -W "$reports" -- "$current")
    else
        mapfile -t COMPREPLY < <(compgen -f -- "${current#=}")
    fi
}

complete -o filenames -F _veltra_report veltra-report
