#!/usr/bin/env bash
# completions_test.sh SOURCE_DIR TVSISTAT TVXSTANDIN: what bash and zsh complete on tvsistat's command
# line, with a stand-in server running.
set -euo pipefail
source_dir=$1
tvsistat=$2
directory=$(mktemp -d --tmpdir "tvsi-test.$$.XXXXXX")
mkdir "$directory/global" "$directory/tvsistat"
export TALVEX_GLOBAL_DIR=$directory/global XDG_CONFIG_HOME=$directory
trap 'kill "$server" 2>/dev/null || true; wait; rm -rf "$directory"' EXIT
printf '[ commits ]\nkind vok\n' >"$directory/tvsistat/config"
# shellcheck disable=SC2016 # a name is never run
readonly brox='de$(mo)'
"$3" --brox "$brox" --dir "$TALVEX_GLOBAL_DIR" --host-id 1f2e --sessions 1 >"$directory/ready" &
server=$!
until grep -q ready "$directory/ready"; do
    kill -0 "$server" && sleep 0.05
done

cd "$source_dir/tests/package"
# Lines: what is expected | the words of the line, of which the last is completed.
# shellcheck source=completions/tvsistat.bash
source "$source_dir/completions/tvsistat.bash"
faults=0
while IFS='|' read -r expected line; do
    read -ra COMP_WORDS <<<"$tvsistat $line"
    [[ $line != *' ' ]] || COMP_WORDS+=('')
    COMP_CWORD=$((${#COMP_WORDS[@]} - 1))
    COMPREPLY=()
    _tvsistat
    if [[ "${COMPREPLY[*]}" != "$expected" ]]; then
        echo "bash: '$line' became '${COMPREPLY[*]}', not '$expected'"
        faults=1
    fi
done <<'END'
--kind|--ki
--kind|-1 --ki
vok vokthr|--kind v
vok vokthr|--kind = v
vok vokthr|-jk v
-kvok -kvokthr|-kv
-jkbrox,vok -jkbrox,vokthr|-jkbrox,v
-fcommitCount|-fcommitC
de\$\(mo\) de\$\(mo\)~1f2e|-kvok d
|-zk vok -j
brox,vok brox,vokthr|-k brox,v
commitCount|--fields commitC
pid,commitCount|-f pid,commitC
rate|-f commitCount : ra
rate total delta|-f commitCount :
rate,commitCount|-f pid : rate,commitC
state|-k vok -f stat
|-f pid,session,name,nope
localPageCacheHits|-k vok -I localPageCacheH
|-k brox -I commitC
commit|--group com
name|--sort nam
us|--unit time* = u
us|--unit = time* = u
ns us ms s|--unit = time* =
commits|--use 
always auto|--color a
counter: gauge: position:|--as 
completions_test.sh|--read completions_t
de\$\(mo\)|--brox d
de\$\(mo\)~1f2e|--cache d
de\$\(mo\) de\$\(mo\)~1f2e|-1 d
all|al
commitCount|--list-fields commitCo
|--top 
END

zsh -n "$source_dir/completions/_tvsistat"
# Each action of _arguments is taken once; compadd says what it would offer.
# shellcheck disable=SC2016 # zsh expands it
zsh -f -o extendedglob -c '
    words=("$2" -k "")
    _arguments() { print -rl -- "$@" >$directory/specs; state=$wanted }
    compset() { return 1 }
    compadd() {
        [[ $1 != -a ]] || set -- "${(@P)2}"
        print -rl -- "$@"
    }
    directory=$3
    for wanted in kind-kind brox-brox caches field-fields; do
        . $1 >$directory/$wanted
    done
' zsh "$source_dir/completions/_tvsistat" "$tvsistat" "$directory"
(
    cd "$directory"
    diff <("$tvsistat" --option-table | sed '/^=/d' | cut -f3 | sort) \
        <(sed -nE 's/^\*--([a-z-]+)=?\[.*/\1/p' specs | sort)
    grep -qx -- '\*-k+\[processes of these kinds\]:KIND\[,...\]:->kind-kind' specs
    grep -qx vokthr kind-kind
    grep -qxF "$brox" brox-brox
    grep -qxF "$brox~1f2e" caches
    grep -qx commitCount field-fields
    grep -qx session field-fields
)
exit "$faults"
