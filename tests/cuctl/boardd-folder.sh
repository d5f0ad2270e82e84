#!/usr/bin/env bash
# boardd-folder.sh DIRECTORY BOARDD PLUGIN DOCUMENTS: a folder in which the demo daemon has run.
set -euo pipefail
cd "$1"
cp "$4"/* .
mkdir plugins
cp "$3" plugins/
"$2" --seconds 1 >/dev/null 2>&1
