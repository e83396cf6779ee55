# Bash completion for kvormicrophone: commands, options, test names and the
# audio systems of the installed build (asked of the program itself).
_kvormicrophone() {
    local current=${COMP_WORDS[COMP_CWORD]}
    local previous=${COMP_WORDS[COMP_CWORD - 1]}
    local program=${COMP_WORDS[0]}
    local command=
    local word
    for word in "${COMP_WORDS[@]:1:COMP_CWORD-1}"; do
        case $word in
            list | devices | run | meter | analyze) command=$word && break ;;
        esac
    done

    case $previous in
        --audio)
            COMPREPLY=($(compgen -W "$("$program" --help 2>/dev/null |
                awk '/^Audio systems/ { on = 1; next } on && /^  [a-z]/ { print $1 } on && /^$/ { exit }')" \
                -- "$current"))
            return ;;
        --machine | --report)
            COMPREPLY=($(compgen -f -X '!*.json' -- "$current") $(compgen -d -- "$current"))
            return ;;
        --junit)
            COMPREPLY=($(compgen -f -X '!*.xml' -- "$current") $(compgen -d -- "$current"))
            return ;;
        --html)
            COMPREPLY=($(compgen -f -X '!*.html' -- "$current") $(compgen -d -- "$current"))
            return ;;
        --base-dir)
            COMPREPLY=($(compgen -d -- "$current"))
            return ;;
        --ui) COMPREPLY=($(compgen -W "console scripted win32" -- "$current")) && return ;;
        --answer) COMPREPLY=($(compgen -W "pass fail cancel" -- "$current")) && return ;;
        --log-level) COMPREPLY=($(compgen -W "1 2 3" -- "$current")) && return ;;
        --param)
            COMPREPLY=($(compgen -W "$("$program" list 2>/dev/null |
                awk '$1 == "--param" { sub(/=.*/, "=", $2); print $2 }')" -- "$current"))
            compopt -o nospace 2>/dev/null
            return ;;
        --setting | --seconds | --frequency) return ;;
        --device)
            # The microphones of the audio system (and machine) chosen so far.
            local chosen=() i
            for ((i = 1; i < COMP_CWORD - 1; i++)); do
                case ${COMP_WORDS[i]} in
                    --audio | --machine) chosen+=("${COMP_WORDS[i]}" "${COMP_WORDS[i + 1]}") ;;
                esac
            done
            COMPREPLY=($(compgen -W "$("$program" devices "${chosen[@]}" 2>/dev/null |
                awk '$1 == "Capture" { on = 1 } $1 == "Render" { on = 0 }
                    on && $1 == "Id:" { print $2 }')" -- "$current"))
            return ;;
    esac

    local words
    case $command in
        "") words="list devices run meter analyze --help --version" ;;
        list) words="--json --help" ;;
        devices) words="--audio --machine --json --help" ;;
        meter) words="--audio --machine --device --seconds --realtime --help" ;;
        analyze)
            if [[ $current == -* ]]; then
                words="--frequency --json --help"
            else
                COMPREPLY=($(compgen -f -X '!*.[wW][aA][vV]' -- "$current") $(compgen -d -- "$current"))
                return
            fi ;;
        run)
            words="--param --setting --audio --machine --base-dir --realtime --json --report --html --junit
                   --log-level --ui --answer --help"
            if [[ $current != -* ]]; then
                words=$("$program" list 2>/dev/null | awk '/^Tests:/ { on = 1; next }
                    on && /^  [A-Za-z]/ { print $1 } on && /^$/ { exit }')
            fi ;;
    esac
    COMPREPLY=($(compgen -W "$words" -- "$current"))
}
complete -F _kvormicrophone kvormicrophone
