# SPDX-License-Identifier: MIT
# shellcheck shell=bash
# Completion of velmorctl in bash. Objects, verbs and options come from velmorctl's own help, which calls nothing.

# _velmorctl_section TITLE [WORD...]: the first words of the lines below a title of the help of these words.
_velmorctl_section() {
    local title=$1
    shift
    "${COMP_WORDS[0]}" "$@" --help 2>/dev/null |
        awk -v title="$title:" '$0 == title { inside = 1; next } /^$/ { inside = 0 } inside && /^  [^ ]/ { print $1 }'
}

_velmorctl() {
    local current=${COMP_WORDS[COMP_CWORD]} previous=${COMP_WORDS[COMP_CWORD - 1]}
    local words=() offers='' i
    COMPREPLY=()
    # "--index=1" is three words here.
    [[ $previous != = ]] || previous=${COMP_WORDS[COMP_CWORD - 2]}
    [[ $current != = ]] || current=''
    for ((i = 1; i < COMP_CWORD; i++)); do
        case ${COMP_WORDS[i]} in
            --)
                # The guarded command and its arguments.
                if ((i == COMP_CWORD - 1)); then
                    mapfile -t COMPREPLY < <(compgen -c -- "$current")
                else
                    mapfile -t COMPREPLY < <(compgen -f -- "$current")
                fi
                return
                ;;
            --index | --interval | --count | --timeout | --alive | --frequency | --duty)
                [[ ${COMP_WORDS[i + 1]} != = ]] || ((++i))
                ((++i))
                ;;
            -*) ;;
            *) words+=("${COMP_WORDS[i]}") ;;
        esac
    done
    case $previous in
        --index) offers='0 1' ;;
        --timeout) offers='30 60' ;;
        --interval) offers='0.1 1 10' ;;
        --duty) offers='0 25 50 75 100' ;;
        --count | --frequency) return ;;
        --alive)
            mapfile -t COMPREPLY < <(compgen -f -- "$current")
            return
            ;;
    esac
    if [[ -z $offers && ${words[0]-} == watchdog && ${words[1]-} == run && $current != -* ]]; then
        mapfile -t COMPREPLY < <(compgen -c -- "$current")
        return
    fi
    if [[ -z $offers && $current == -* ]]; then
        offers=$(_velmorctl_section Options | tr ',' '\n'
            ((${#words[@]} == 0)) || _velmorctl_section Options "${words[@]:0:2}" | tr ',' '\n')
        offers=$(grep -e '^--' <<<"$offers")
    elif [[ -z $offers ]]; then
        case ${#words[@]} in
            0) offers=$(_velmorctl_section Objects) ;;
            1) offers=$(_velmorctl_section Verbs "${words[0]}") ;;
        esac
        case ${words[*]} in
            watch | 'watch '*)
                offers=$(_velmorctl_section Objects | grep -vxE 'status|antenna|power|watchdog|watch|doctor')
                ;;
            'backlight set') offers='0% 25% 50% 75% 100%' ;;
            'io get' | 'io set') offers='0 9 11' ;;
            'io set '*) offers='0 1' ;;
            'io config') offers=0 ;;
            'antenna wifi' | 'antenna bluetooth' | 'serial mux' | 'serial function') offers='0 1' ;;
            'serial mux '*) offers='0 1 2' ;;
            'serial function '*) offers='serial key' ;;
            'mrfi autolink') offers='on off' ;;
        esac
    fi
    mapfile -t COMPREPLY < <(compgen -W "$offers" -- "$current")
}

complete -F _velmorctl velmorctl
