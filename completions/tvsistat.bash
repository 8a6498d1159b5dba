# shellcheck shell=bash
# Completion of tvsistat's command line for bash. Options, kinds, groups, fields and running caches
# are asked of the program that stands on the line, so that they are always its own. What it says
# is never expanded by the shell: others name the caches.

# Adds the words after the first that begin with $cur, each behind the prefix $1.
_tvsistat_offer() {
    local prefix=$1 word quoted
    shift
    for word; do
        if [[ -n $word && $word == "$cur"* ]]; then
            printf -v quoted %q "$word"
            COMPREPLY+=("$prefix$quoted")
        fi
    done
}

# Prints one member, brox or cache, of each cache of this host.
_tvsistat_caches() {
    "$program" --list --json 2>/dev/null |
        sed -nE 's/^\{.*"'"$1"'":"([^"\\]*)".*/\1/p'
}

# Prints the names of the fields that the kinds on the line have.
_tvsistat_fields() {
    local kinds=() i
    for ((i = 1; i < COMP_CWORD; i++)); do
        [[ ${COMP_WORDS[i]} == -k || ${COMP_WORDS[i]} == --kind ]] || continue
        [[ ${COMP_WORDS[i + 1]} == = ]] && i=$((i + 1))
        kinds+=(-k "${COMP_WORDS[i + 1]}")
    done
    "$program" --list-fields --json "${kinds[@]}" 2>/dev/null |
        sed -nE 's/^\{"name":"([^"\\]*)".*/\1/p' | sort -u
}

_tvsistat() {
    local program=${COMP_WORDS[0]/#\~\//$HOME/} cur=${COMP_WORDS[COMP_CWORD]}
    local at=$COMP_CWORD hasColon='' option wanted='' listsFields=''
    COMPREPLY=()
    # bash makes words of "=" and ":"; what stands before them says what the last part is.
    if [[ $cur == [=:] ]]; then
        cur=''
        at=$((at + 1))
    fi
    while ((at > 2)) && [[ ${COMP_WORDS[at - 1]} == : ]]; do
        at=$((at - 2))
        hasColon=yes
    done
    [[ ${COMP_WORDS[at - 1]} != = ]] || at=$((at - 1))
    option=${COMP_WORDS[at - 1]}
    # --unit GLOB=, --unit=GLOB=
    local before=${COMP_WORDS[at - 2]}
    [[ $before != = ]] || before=${COMP_WORDS[at - 3]}
    if [[ $option != -* && $before == --unit && ${COMP_WORDS[at]} == = ]]; then
        _tvsistat_offer '' ns us ms s
        return
    fi
    before=''

    local section letter name kind options=() kinds=() groups=() columns=() i
    local -A letters=()
    while IFS=$'\037' read -r section letter name _ kind _; do
        case $section in
        =kind) kinds+=("$name") ;;
        =group) groups+=("$name") ;;
        =column) columns+=("$name") ;;
        *)
            options+=("--$name")
            [[ $option != "--$name" ]] || wanted=$kind:$name
            [[ -z $letter ]] || letters[$letter]=$kind:$name
            ;;
        esac
    done < <("$program" --option-table 2>/dev/null | tr '\t' '\037')
    # Of a group of letters the first that takes a value ends it: the rest is the value, or, where
    # nothing is left, the next word.
    local group=$option
    [[ $cur != -[!-]* || $at -ne $COMP_CWORD ]] || group=$cur
    if [[ $group == -[!-]* ]]; then
        for ((i = 1; i < ${#group}; i++)); do
            wanted=${letters[${group:i:1}]-none:}
            [[ $wanted == none:* ]] || break
        done
        if [[ $wanted == none:* ]]; then
            wanted=''
        elif [[ $group == "$cur" ]] && ((i + 1 < ${#group})); then
            before=${group:0:i+1}
            cur=${group:i+1}
        elif ((i + 1 < ${#group})); then
            wanted=''
        fi
    fi
    for ((i = 1; i < COMP_CWORD; i++)); do
        [[ ${COMP_WORDS[i]} != --list-fields ]] || listsFields=yes
    done

    # Of a list with commas the last entry is completed.
    local words=()
    if [[ $wanted == @(kind|group|field):* && $cur == *,* ]]; then
        before+=${cur%,*},
        cur=${cur##*,}
        hasColon=''
    fi
    case $wanted in
    brox:*) mapfile -t words < <(_tvsistat_caches brox) ;;
    location:*) mapfile -t words < <(_tvsistat_caches cache) ;;
    kind:*) words=("${kinds[@]}") ;;
    group:*) words=("${groups[@]}") ;;
    field:*)
        mapfile -t words < <(_tvsistat_fields)
        [[ $wanted != field:@(fields|sort) ]] || words+=("${columns[@]}")
        [[ -z $hasColon ]] || words=(rate total delta)
        ;;
    set:*)
        mapfile -t words < <(sed -nE 's/^[[:blank:]]*\[[[:blank:]]*(.*[^[:blank:]])[[:blank:]]*\][[:blank:]]*$/\1/p' \
            "${XDG_CONFIG_HOME:-$HOME/.config}/tvsistat/config" 2>/dev/null)
        ;;
    file:*)
        compopt -o filenames 2>/dev/null || true
        mapfile -t COMPREPLY < <(compgen -P "$before" -f -- "$cur")
        return
        ;;
    word:color) words=(always auto never) ;;
    word:speed) words=(max) ;;
    word:export) words=(openmetrics stream) ;;
    word:as) [[ -n $hasColon ]] || words=(counter: gauge: position:) ;;
    none:* | '')
        if [[ $cur == -* ]]; then
            words=("${options[@]}")
        elif [[ -n $listsFields ]]; then
            mapfile -t words < <(_tvsistat_fields)
        else
            mapfile -t words < <(_tvsistat_caches brox && _tvsistat_caches cache)
            words+=(all)
        fi
        ;;
    esac
    _tvsistat_offer "$before" "${words[@]}"
    if [[ ${COMPREPLY[0]-} == *: ]]; then
        compopt -o nospace 2>/dev/null || true
    fi
}

complete -F _tvsistat tvsistat
