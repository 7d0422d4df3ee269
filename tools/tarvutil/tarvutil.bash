# Completion of tarvutil for bash.

_tarvutil() {
    local current=${COMP_WORDS[COMP_CWORD]} previous=${COMP_WORDS[COMP_CWORD - 1]}
    local command=${COMP_WORDS[1]}
    local stimulator='--pattern --time-step --amp-step --amp-max --budget --device'
    local limits='--max-error --max-period-error --max-amplitude-error --max-charge-error --max-net-charge
        --whole-cycles --exact --area --max-phase-charge --max-density --max-k --max-duty --max-rate --max-dc'
    local -A options=(
        [encode]="--file --lenient $stimulator $limits --format --jobs --output"
        [decode]='--file --time-step --amp-step --device --format --jobs --train --sample-rate'
        [check]="--file --lenient $stimulator $limits --steps --format --jobs"
        [plot]="--file --lenient $stimulator --output --train"
        [play]="--file --lenient $stimulator $limits --poll --blocks --schedule --until --max-total-current
            --format --output"
        [device]="--file $stimulator $limits --max-total-current --format"
        [design]="--amplitude --phase1 --ipi --frequency --train --pulses --on --off --times --ramp-up
            --ramp-down --burst --burst-rate --balance --polarity --offset --phase2 --amplitude2 --name
            $limits ${stimulator#--pattern }"
    )
    COMPREPLY=()
    if [ "$COMP_CWORD" -eq 1 ]; then
        mapfile -t COMPREPLY < <(compgen -W "${!options[*]} --help --version" -- "$current")
        return
    fi
    local words
    case $previous in
        -f | --file | -o | --output | --schedule | --device)
            compopt -o filenames
            mapfile -t COMPREPLY < <(compgen -f -- "$current")
            return
            ;;
        --pattern) words='lilly plain' ;;
        --polarity) words='negative positive' ;;
        --format)
            words='table json'
            case $command in
                encode) words='table hex json binary' ;;
                decode) words='table json csv' ;;
                play) words='table json events' ;;
            esac
            ;;
        --train)
            [ "$command" = design ] && return
            words=${options[$command]}
            ;;
        --balance) words='0 1 2 3 4' ;;
        --time-step | --amp-step | --amp-max | --budget | --area | --max-* | --poll | --blocks | --until) return ;;
        --amplitude | --amplitude2 | --phase1 | --phase2 | --ipi | --frequency | --offset | --sample-rate) return ;;
        --pulses | --on | --off | --times | --ramp-* | --burst | --burst-rate | --name) return ;;
        *) words="${options[$command]} --help" ;;
    esac
    mapfile -t COMPREPLY < <(compgen -W "$words" -- "$current")
}
complete -F _tarvutil tarvutil
