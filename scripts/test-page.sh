#!/bin/sh
# Looks at the page of `datacollectorctl status --html` as a browser shows it: headless Chromium, at the width of a
# telephone and of a desk, in light and dark. Fails on a request to anywhere, a message on the console, an element that
# is wider than the window, and a page whose parts are not those of the gateway that it shows.
#
# Usage: test-page.sh DATACOLLECTORCTL [FOLDER]     FOLDER keeps the page and its pictures
# Needs the packages chromium, fonts-dejavu-core, python3 and sqlite3.
set -eu

program=$(realpath "${1:?usage: test-page.sh DATACOLLECTORCTL [FOLDER]}")
cd "${0%/*}/.."
for tool in chromium python3 sqlite3; do
  command -v "$tool" >/dev/null || { echo "test-page.sh: $tool is missing" >&2; exit 1; }
done
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
trap 'exit 1' HUP INT TERM
kept=${2:-$work/kept}
mkdir -p "$kept"
kept=$(realpath "$kept")

# A gateway with a backlog: AIO and RS-485 wait, the others are sent.
tree=$work/gateway
databases=$tree/vorl/disk/AppData/K740/DataCollector/Db
mkdir -p "$databases" "$tree/tmp"
cp -r gateway/Config/root "$tree/root"
echo 0 >"$tree/tmp/networkstatus"
fill() {
  gateway/DatabaseInterface.sh --command create_table --databasepath "$databases" --database "$1" --table "$2" \
    --config "gateway/Config/root/DataCollectorAppComponent/etc/Config/$3PerDatabaseColumnsConfig.cfg"
  sqlite3 "$databases/$1" "WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n WHERE i < $4)
    INSERT INTO $2 (RecordNumber, TxStatus, TxStatusTime, RecordReadTime) SELECT i, i <= $4 - $5,
    datetime('now', 'localtime', ((i - $4) * 60 + 20) || ' seconds'),
    datetime('now', 'localtime', ((i - $4) * 60) || ' seconds') FROM n"
}
fill AIODataCollectorDB.db AIO_table AIO 960 560
fill DIODataCollectorDB.db DIO_table DIO 800 0
fill TemperatureDataCollectorDB.db Temperature_table Temperature 500 1
fill EMeterRS485DataCollectorDb.db EnergyMeter_RS485_table RS485 1000 1000
fill RS232DataCollectorDb.db RS232_table RS232 5 0
: >"$databases/SNMPDataCollectorDb.db"
page=$kept/page.html
"$program" status --root "$tree" --html "$page" || [ $? -eq 2 ]

# Measures the page in a frame of the wanted width, because it has no scripts of its own and a window has a least width.
cat >"$work/measure.html" <<'HTML'
<!DOCTYPE html><meta charset="utf-8"><title>measuring</title>
<body style="margin:0"><iframe style="border:0;display:block" src="page.html"></iframe><pre></pre><script>
const [width, height] = location.hash.slice(1).split(',');
document.querySelector('iframe').style.width = width + 'px';
document.querySelector('iframe').style.height = height + 'px';
document.querySelector('iframe').onload = event => {
  const page = event.target.contentDocument, root = page.documentElement;
  const wide = [...page.querySelectorAll('*')].filter(e => e.getBoundingClientRect().right > root.clientWidth + 1);
  document.querySelector('pre').textContent = JSON.stringify({
    width: root.clientWidth, scrolls: root.scrollWidth > root.clientWidth, wide: wide.map(e => e.tagName),
    ground: getComputedStyle(page.body).backgroundColor,
    cards: [...page.querySelectorAll('section h2')].map(e => e.textContent),
    graphs: page.querySelectorAll('section svg polyline').length, rings: page.querySelectorAll('section svg .fill').length,
    verdicts: page.querySelectorAll('li').length, errors: page.querySelectorAll('li.error').length,
    scripts: page.querySelectorAll('script,link[rel=stylesheet],img,iframe').length});
};
</script>
HTML
cp "$page" "$work/page.html"

# browse NAME WIDTH,HEIGHT SCHEME OPTION...
browse() {
  log=$1 size=$2 scheme=$3
  shift 3
  timeout 120 chromium --headless=new --no-sandbox --disable-gpu --hide-scrollbars --no-first-run --disable-component-update \
    --disable-background-networking --allow-file-access-from-files --user-data-dir="$work/profile" --enable-logging=stderr \
    --blink-settings="preferredColorScheme=$scheme" --window-size="$size" --log-net-log="$work/$log.net" \
    --virtual-time-budget=5000 "$@" "file://$work/measure.html#$size" 2>"$work/$log.log"
}

for shape in telephone:360,3300 desk:1280,1150; do
  for colours in dark:0 light:1; do
    name=${shape%:*}-${colours%:*}
    browse "$name" "${shape#*:}" "${colours#*:}" --dump-dom >"$work/$name.dom"
    browse "$name-picture" "${shape#*:}" "${colours#*:}" --screenshot="$kept/$name.png" >/dev/null
    sed -n 's/.*<pre>\(.*\)<\/pre>.*/\1/p' "$work/$name.dom" >"$work/$name.json"
  done
done

python3 - "$work" <<'PYTHON'
import glob, json, re, sys
work, failed = sys.argv[1], False
def expect(name, what, is_so):
    global failed
    if not is_so:
        failed = True
        print(f"test-page.sh: {name}: {what}", file=sys.stderr)
for name in ("telephone-light", "telephone-dark", "desk-light", "desk-dark"):
    seen = json.load(open(f"{work}/{name}.json"))
    print(name, seen)
    expect(name, "has another width", seen["width"] == (360 if name.startswith("telephone") else 1280))
    expect(name, "is wider than the window", not seen["scrolls"] and not seen["wide"])
    expect(name, "has other cards", seen["cards"] == ["AIO", "DIO", "TEMPERATURE", "RS485", "RS232", "SNMP"])
    expect(name, "has other graphs", seen["graphs"] == 5 and seen["rings"] >= 5)
    expect(name, "has no verdicts", seen["verdicts"] >= 2 and seen["errors"] >= 2)
    expect(name, "asks for something else", seen["scripts"] == 0)
    light = sum(map(int, re.findall(r"\d+", seen["ground"])[:3])) > 384
    expect(name, "has the other colours", light == name.endswith("light"))
for path in glob.glob(f"{work}/*.log"):
    lines = [line for line in open(path, errors="replace") if "CONSOLE" in line]
    expect(path, f"console: {lines}", not lines)
for path in glob.glob(f"{work}/*.net"):
    # The browser's own errands have an initiator of their own; the page's come from its file.
    text = open(path, errors="replace").read()
    urls = {url for url in re.findall(r'"initiator":"file[^}]*?"url":"(https?:[^"]*)"', text)}
    expect(path, f"requests: {urls}", not urls)
sys.exit(failed)
PYTHON
echo "test-page.sh: passed"
