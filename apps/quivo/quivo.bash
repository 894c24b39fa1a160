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
    local opening='--strict --indices' ending='--force --quiet'
    local output="--damaged --layout --tile --compression --quality --type --strip --all-levels
        --threads $ending"
    case $previous in
        --compression) words='deflate none lzw zstd jpeg' ;;
        --damaged) words='fail fill' ;;
        --format) [[ $subcommand == render ]] && words='png jpeg' || words='raw npy' ;;
        --layout) words='plain ome cog' ;;
        --levels) words='auto source previous' ;;
        --type) words='native u8 i8 u16 i16 u32 i32 u64 i64 f16 f32 f64' ;;
        --level | --box | --slice | --scale | --cache-mb | --size | --tile | --quality | \
            --threads | --channels | --range)
            words=' ' # of which nothing is known
            ;;
        --output | --against) return ;;
    esac
    if [[ -z $words && $word == -* ]]; then
        case $subcommand in
            '') words='--version' ;;
            info) words="--json $opening --quiet" ;;
            convert) words="$region $shrinking --levels --channels $opening $output" ;;
            merge) words="$opening $output" ;;
            split) words="--channels $opening $output" ;;
            render)
                words="$region $shrinking --size --channels --range --format --quality $opening
                    --damaged $ending"
                ;;
            read)
                words="$region --all-slices --channels --output --format --type $opening --damaged
                    $ending"
                ;;
            verify) words="--against $opening --quiet" ;;
            compare) words="--metadata $opening --quiet" ;;
        esac
        words+=' -h --help'
    elif [[ -z $words && -z $subcommand ]]; then
        words='info convert merge split render read verify compare'
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
