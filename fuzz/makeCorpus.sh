#!/usr/bin/env bash
# Writes the seed corpora of the fuzz targets into fuzz/corpus/. Run it again
# after a change of the audit line format; it needs build/bin/qxesauditgen.
#   bash fuzz/makeCorpus.sh [path/to/qxesauditgen]
set -euo pipefail
root="$(cd "$(dirname "$0")/.." && pwd)"
corpus="$root/fuzz/corpus"
auditgen="${1:-$root/build/bin/qxesauditgen}"

# One fuzzFileLoad seed: the control byte (row count, delete flag, resume
# number; see fuzz/fuzzFileLoad.cpp) followed by the file's content.
load_seed() {
    local name="$1" control="$2" content="$3"
    { printf "\\x$control"; cat "$content"; } >"$corpus/fuzzFileLoad/$name"
}

# An audit record: every field followed by two tabs.
record() {
    local field
    for field in "$@"; do printf '%s\t\t' "$field"; done
    printf '\n'
}
header() { record Type TimeStamp TimeZone DifferenceFromGMT SessionId RequestId ComponentId MessageFormat Message; }
stamp=2011-03-04:17:05:09.042
zone=("UTC" "Time Zone: GMT + 0:00")

mkdir -p "$corpus"/{fuzzFileLoad,fuzzUsageDecoder,fuzzCharacterReferences,fuzzCommandLine,fuzzConfigurationFile}
scratch="$(mktemp -d)"
trap 'rm -rf "$scratch"' EXIT

# --- whole file load ---
"$auditgen" --output "$scratch/gen" --lines 40 --sessions 3 --seed 7 >/dev/null
load_seed generated-rows3 02 "$scratch"/gen/qxes_audit_*.log
load_seed allformats-rows1 00 "$root/tests/data/handlers/qxes_audit_allformats.log"
{
    header
    record V "$stamp" "${zone[@]}" 0 0 QXES 1 9.1.0
    record G "$stamp" "${zone[@]}" 0 0 QXES FGN 1
    record I "$stamp" "${zone[@]}" 0 0 QXES SRV host1:8080
    record I "$stamp" "${zone[@]}" 0 0 QXES SRV host2:8080
    record I "$stamp" "${zone[@]}" 0 0 QXES SRV host3:8080
    record E "$stamp" "${zone[@]}" 0 0 QXES SRV stops
    record I "$stamp" "${zone[@]}" 0 0 QXES SRV host4:8080
} >"$scratch/stopped"
load_seed stopped-rows2 01 "$scratch/stopped"
load_seed stopped-resume4-rows2 41 "$scratch/stopped"
load_seed stopped-resume1-delete 18 "$scratch/stopped"
{
    header
    record V "$stamp" "${zone[@]}" 0 0 QXES 1 9.1.0
    printf '\n'
    record X "$stamp" "${zone[@]}" 0 0 QXES SRV unknown-kind
    record I "$stamp" "${zone[@]}" s1 r1 QXDS USR 'O'"'"'Brien &#x20ac; \\ "quoted"'
    printf 'I\t\t%s\t\ttruncated' "$stamp"
} >"$scratch/odd"
load_seed odd-lines-rows4 03 "$scratch/odd"
# Lines refused alone, each followed by a good one: unknown component and
# formats, a REQINFO of six parts, usage counts that do not match, a key too
# long for its column, a report name running past 10,240 bytes with a forged
# record after it on the same line.
{
    header
    record V "$stamp" "${zone[@]}" 0 0 QXES 1 9.1.0
    record G "$stamp" "${zone[@]}" 0 0 QXES FGN 1
    record I "$stamp" "${zone[@]}" 0 0 QXES SRV host1:8080
    record I "$stamp" "${zone[@]}" s1 r1 QXZZ REQINFO 'Sales,cube,"/x",,0'
    record E "$stamp" "${zone[@]}" s1 r1 QXZZ REQFAILE failed
    record I "$stamp" "${zone[@]}" s1 r1 QXRQ REQINFO 'Sales,cube,"/x",,0'
    record I "$stamp" "${zone[@]}" s1 r1 QXRQ REQLOST x
    record I "$stamp" "${zone[@]}" s1 r1 QXPB TRVZ x
    record U "$stamp" "${zone[@]}" s1 r1 QXDS QXUZ 'D1;L1;M1'
    record I "$stamp" "${zone[@]}" s2 r1 QXRQ REQINFO 'Sal,es,cube,"/x",,0'
    record U "$stamp" "${zone[@]}" s1 r1 QXDS QXUC 'D1,Measures;D1L1;M1'
    record U "$stamp" "${zone[@]}" s1 r1 QXDS QXUH 'Products,Measures;Product Line;Revenue'
    record U "$stamp" "${zone[@]}" s1 r1 QXDS QXUD '5,1,9;7;42,43'
    record I "$stamp" "${zone[@]}" "$(printf 'k%.0s' $(seq 1 100))" r1 QXRQ REQINFO 'Sales,cube,"/x",,0'
    record I "$stamp" "${zone[@]}" s3 r9 QXES COPY "Report,$(printf 'r%.0s' $(seq 1 10150))" \
        I "$stamp" "${zone[@]}" forged r1 QXRQ REQINFO 'Forged,cube,"/x",,0'
    record I "$stamp" "${zone[@]}" s1 r1 QXRQ SUCC done
} >"$scratch/refused"
load_seed refused-lines-rows3 02 "$scratch/refused"
sed 's/$/\r/' "$scratch/refused" | head -c 2000 >"$scratch/refused-crlf"
load_seed refused-crlf-rows8 07 "$scratch/refused-crlf"
printf 'Type\t\tTimeStamp\r\n' >"$scratch/crlf"
load_seed bad-header 00 "$scratch/crlf"

# --- usage decoder: codes, names and counts, one per line ---
printf 'D1,M;L11;MC1\nDim1,Measures;Lev11;Meas1\n5,8;2;4' >"$corpus/fuzzUsageDecoder/one-dimension"
printf 'Dim02,Dim03,Measures;Dim02L2;Dim03L2,Dim03L3;Meas02,Meas03\nYears,Regions,Measures;Quarter;Country,City;Quantity,Revenue\\, Net\n398,98,4;157;51,23;70928,91610' \
    >"$corpus/fuzzUsageDecoder/escaped-separator"
printf ';;a,,b,\n;;a,,b,\nx,,y,' >"$corpus/fuzzUsageDecoder/separator-runs"
printf 'a,b;c\na;b,c\n1,2;3' >"$corpus/fuzzUsageDecoder/unequal-shapes"

# --- character references ---
printf 'M&#252;ller' >"$corpus/fuzzCharacterReferences/latin"
printf '&#x20ac;uro Desk &#8364;' >"$corpus/fuzzCharacterReferences/euro"
printf '&#38;#38;#65; &#; &#0; &#55296; &#1114112; &#99999999999999999999;' \
    >"$corpus/fuzzCharacterReferences/edges"
printf 'Jos&#233; Garc&#237;a &#128512; \xff\xfe&#' >"$corpus/fuzzCharacterReferences/mixed"

# --- command line: arguments separated by NUL bytes ---
args() { printf '%s\0' "$@" | head -c -1; }
args -dbname audit.db -dbconnect 'LOCAL;SQ;' -dbuser afp -dbpass secret -auditlocation /tmp \
    >"$corpus/fuzzCommandLine/complete"
args -DBNAME a -dbconnect 'LOCAL;OR;mydb' -dbuser u -dbpass p -auditlocation /tmp -nbrows 70000 \
    -exitonerror yes -df /tmp/dump.sql -errorlog /tmp/afp.log >"$corpus/fuzzCommandLine/all-options"
args -dbname a -dbconnect LOCAL -dbuser u -dbpass p -auditlocation d >"$corpus/fuzzCommandLine/short-connect"
args -dbname a -dbuser b -dbpass c -nbrows -5 >"$corpus/fuzzCommandLine/missing-value"
args -dbname '' -dbconnect x -dbuser u -dbpass p -auditlocation d -bogus >"$corpus/fuzzCommandLine/empty-value"

# --- configuration file ---
printf '# settings\nTransactionRowCount = 50\n StopOnAllErrors = 1 \nDeleteAuditFiles=1\nErrorLogFileLocation = /var/log/audit\n' \
    >"$corpus/fuzzConfigurationFile/all-keys"
printf 'TransactionRowCount = 50' >"$corpus/fuzzConfigurationFile/no-newline"
printf 'StopOnAllErrors\t= 1\n' >"$corpus/fuzzConfigurationFile/tab-key"
{ printf 'x%.0s' $(seq 1 1500); printf '\n'; } >"$corpus/fuzzConfigurationFile/long-line"
