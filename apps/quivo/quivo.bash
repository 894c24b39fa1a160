# Completion of quivo for bash. A test compares it with the help texts.

_quivo() {
    local word=${COMP_WORDS[COMP_CWORD]} previous=${COMP_WORDS[COMP_CWORD - 1]}
    # Bash takes --option=value apart: three words, or two where there is no value yet.
    if [[ $word == = ]]; then
        word=''
    elif [[ $previous == = ]]; then
        previous=${COMP_WORDS[COMP_CWORD - 2]}
    fi

    local i subcommand=''
    for ((i = 1; i < COMP_CWORD; ++i)); do
        if [[ ${COMP_WORDS[i]} != -* ]]; then
            subcommand=${COMP_WORDS[i]}
            break
        fi
    done

    local region='--level --box --slice' shrinking='--scale --cache-mb' words=''
    local output='--tile --compression --quality --type --all-levels --threads --force --quiet'
    case $previous in
        --compression) words='deflate none lzw zstd jpeg' ;;
        --levels) words='auto source previous' ;;
        --type) words='u8 u16 u32 f32 f64' ;;
        --level | --box | --slice | --scale | --cache-mb | --size | --tile | --quality | --threads)
            words=' ' # a number, of which nothing is known
            ;;
        --output) return ;;
    esac
    if [[ -z $words && $word == -* ]]; then
        case $subcommand in
            '') words='--version' ;;
            info) words='--json' ;;
            convert) words="$region $shrinking --levels $output" ;;
            merge) words=$output ;;
            render) words="$region $shrinking --size" ;;
            read) words="$region --output" ;;
        esac
        words+=' -h --help'
    elif [[ -z $words && -z $subcommand ]]; then
        words='info convert merge render read'
    fi
    # Without words of our own, bash offers the names of files.
    if [[ -n $words ]]; then
        compopt +o default 2>/dev/null
        mapfile -t COMPREPLY < <(compgen -W "$words" -- "$word")
    elif [[ $subcommand != merge && -n $word && mandelbrot: == "$word"* ]]; then
        compopt -o nospace 2>/dev/null
        mapfile -t COMPREPLY < <(compgen -W mandelbrot: -f -- "$word")
    fi
}

complete -o default -F _quivo quivo
