#!/usr/bin/env bash
# python_package_test.sh SOURCE_DIR STATSPYTHON RELEASE PYTHON LIBRARY: the Python package is what the
# catalogue makes of it, holds to its types, and is installed without a network.
set -euo pipefail
source_dir=$1
export TVSI_LIBRARY=$5
directory=$(mktemp -d --tmpdir "tvsi-test.$$.XXXXXX")
trap 'rm -rf "$directory"' EXIT
cd "$directory"

"$2" records.py
diff -u "$source_dir/python/tvsi/records.py" records.py ||
    { echo "build the target python_records"; exit 1; }

# From a copy: the build would leave its files beside the sources.
cp -r "$source_dir/python" copy
rm -rf copy/tvsi/__pycache__
"$4" -m pip install --quiet --disable-pip-version-check --no-cache-dir --no-build-isolation \
    --no-index --no-deps --target installed ./copy 2>pip.log || { cat pip.log; exit 1; }
[[ -s installed/tvsi-$3.dist-info/METADATA && -e installed/tvsi/py.typed ]]
export PYTHONPATH=$directory/installed TALVEX_GLOBAL_DIR=$directory
sentence=$("$4" "$source_dir/examples/watch.py" nosuchbrox 2>&1) && exit 1
[[ $sentence == "Brox named 'nosuchbrox' not found on this host" ]]
sentence=$(TVSI_LIBRARY=/nowhere/libtvsi.so "$4" "$source_dir/examples/watch.py" 2>&1) && exit 1
[[ $sentence == "/nowhere/libtvsi.so: "*TVSI_LIBRARY ]]

# A record is of its kind for the type checker, too.
cat >wrong.py <<'END'
import tvsi
cache = tvsi.attach(brox="prod")
cache.query(tvsi.BROX)[0].commitQueueThreshold
cache.query(tvsi.VOK)[0].commitQueueThreshold
sum(cache.vok(1).sessionStats) + cache.vok(1).name
tvsi.attach(brox=1)
END
check=("$4" -m mypy --strict --no-error-summary --cache-dir="$directory/mypy")
MYPYPATH=$directory/copy "${check[@]}" copy/tvsi "$source_dir/examples/watch.py"
lines=$("${check[@]}" wrong.py | sed -n 's/^wrong.py:\([0-9]*\): error.*/\1/p' | paste -sd ' ') || true
[[ $lines == "4 5 6" ]] || { echo "mypy finds errors in lines '$lines' of wrong.py, not in 4 5 6"; exit 1; }
