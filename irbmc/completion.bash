# What bash completes behind `irbmc`: subcommands, their options, and the values of these.

_irbmc() {
    local word=${COMP_WORDS[COMP_CWORD]} before=${COMP_WORDS[COMP_CWORD - 1]}
    local command=${COMP_WORDS[1]-} words=''
    COMPREPLY=()
    if ((COMP_CWORD == 1)); then
        mapfile -t COMPREPLY < <(compgen -W 'replay show check help --help --version' -- "$word")
        return
    fi
    case $before in
    --color) words='auto always never' ;;
    --mode) words='include exclude' ;;
    --app) words='none irb gmp static' ;;
    --toggle) words='OismGateway=on OismGateway=off OismMplsTunnel=on OismMplsTunnel=off' ;;
    --table)
        mapfile -t COMPREPLY < <(compgen -d -- "$word")
        return
        ;;
    --trace | --vrf | --vlan | --source | --group) return ;;
    esac
    if [[ -z $words && $word == -* ]]; then
        case $command in
        replay)
            words='--json --quiet --strict --trace --table --toggle --color --library --help'
            ;;
        show)
            words='--json --watch --vrf --app --vlan --source --group --mode --color --help'
            ;;
        *) words='--help' ;;
        esac
    fi
    if [[ -n $words ]]; then
        mapfile -t COMPREPLY < <(compgen -W "$words" -- "$word")
        return
    fi
    case $command in
    replay) mapfile -t COMPREPLY < <(compgen -f -- "$word") ;;
    show | check) mapfile -t COMPREPLY < <(compgen -d -- "$word") ;;
    help) mapfile -t COMPREPLY < <(compgen -W 'replay show check help' -- "$word") ;;
    esac
}
complete -o filenames -F _irbmc irbmc
