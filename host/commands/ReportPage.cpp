#include "host/commands/ReportPage.h"

#include "base/Base64.h"
#include "base/XStr.h"
#include "host/plot/Thumbnail.h"
#include "host/terminal/Console.h"
#include "host/terminal/FormatText.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>

namespace w64 {

namespace {

// The policy lets the page fetch nothing, whatever a file has put into it.
constexpr const char* kHead = R"(<!DOCTYPE html>
<html lang="en">
<head>
<meta charset="utf-8">
<meta http-equiv="Content-Security-Policy"
 content="default-src 'none'; img-src data:; style-src 'unsafe-inline'; script-src 'unsafe-inline'">
<meta name="viewport" content="width=device-width">
<title>Audio files</title>
<style>
body { font: 14px/1.4 system-ui, "DejaVu Sans", sans-serif; color: #24292f; margin: 1.5em; }
h1 { font-size: 1.4em; margin: 0; }
table { border-collapse: collapse; margin-top: 1em; }
th, td { border-bottom: 1px solid #d8dce0; padding: .4em .7em; text-align: left; vertical-align: top; }
thead th { position: sticky; top: 0; background: #fff; white-space: nowrap; }
th button { all: unset; cursor: pointer; }
th button:focus-visible { outline: 2px solid #2f67ae; }
th[aria-sort=ascending] button::after { content: " \25B2"; }
th[aria-sort=descending] button::after { content: " \25BC"; }
th.number, td.number { text-align: right; white-space: nowrap; font-variant-numeric: tabular-nums; }
td.name { font-weight: 600; overflow-wrap: anywhere; min-width: 12em; }
td.text { overflow-wrap: anywhere; min-width: 9em; max-width: 26em; }
td p, td ul { margin: 0; padding: 0; font-weight: 400; list-style: none; }
.wrong { color: #b3261e; }
.odd { color: #8a5a00; }
.sound { color: #1b6e3a; }
.tag { color: #5b646e; }
img { display: block; border: 1px solid #b4bbc3; }
@page { size: landscape; margin: 1cm; }
@media print {
    body { margin: 0; font-size: 9px; }
    thead th { position: static; }
    tr { break-inside: avoid; }
    th button::after { content: "" !important; }
    img { width: 60mm; height: auto; }
}
</style>
</head>
<body>
)";

// Rows are sorted by data-key where a cell has one, else by its text; empty cells come last.
constexpr const char* kTail = R"(</tbody>
</table>
<script>
const table = document.querySelector("table");
const body = table.tBodies[0];
const headers = [...table.tHead.rows[0].cells];
function keyOf(row, column, isNumber) {
    const cell = row.cells[column];
    const key = cell.dataset.key ?? cell.textContent.trim();
    return key === "" ? null : isNumber ? Number(key) : key;
}
function sortBy(header) {
    const column = headers.indexOf(header);
    const isNumber = header.classList.contains("number");
    const sign = header.getAttribute("aria-sort") === "ascending" ? -1 : 1;
    const keyed = [...body.rows].map(row => [keyOf(row, column, isNumber), row]);
    keyed.sort(([a], [b]) => {
        if (a === null || b === null) return (a === null) - (b === null);
        return sign * (isNumber ? a - b : a.localeCompare(b, undefined, { numeric: true }));
    });
    body.append(...keyed.map(([, row]) => row));
    for (const other of headers) other.removeAttribute("aria-sort");
    header.setAttribute("aria-sort", sign > 0 ? "ascending" : "descending");
}
for (const header of headers) header.querySelector("button")?.addEventListener("click", () => sortBy(header));
</script>
</body>
</html>
)";

// As the text of an element or a quoted attribute.
std::string Escaped(std::string_view text) {
    std::string escaped;
    for (const char c : Visible(text)) {
        switch (c) {
        case '&':
            escaped += "&amp;";
            break;
        case '<':
            escaped += "&lt;";
            break;
        case '>':
            escaped += "&gt;";
            break;
        case '"':
            escaped += "&quot;";
            break;
        case '\'':
            escaped += "&#39;";
            break;
        default:
            escaped += c;
        }
    }
    return escaped;
}

// Text in any direction, which leaves that around it alone.
std::string Isolated(std::string_view text) { return "<bdi>" + Escaped(text) + "</bdi>"; }

std::string Number(double value, const char* pattern = "%.1f") {
    std::array<char, 32> text{};
    std::snprintf(text.data(), text.size(), pattern, value);
    return text.data();
}

// Empty without a value. Infinities sort as a number that is lower than all others.
std::string NumberCell(const std::optional<double>& value) {
    if (!value) return "<td class=\"number\"></td>";
    const bool isFinite = std::isfinite(*value);
    return "<td class=\"number\" data-key=\"" + (isFinite ? Number(*value, "%.6f") : "-1000") + "\">" +
           (isFinite ? Number(*value) : "-inf") + "</td>";
}

struct Status {
    const char* text;
    const char* style;
    int order;  // the worst first
};

Status StatusOf(const ReportRow& row) {
    if (row.format.empty()) return {"unreadable", "wrong", 0};
    if (row.HasFaults()) return {"wrong", "wrong", 1};
    if (!row.findings.empty()) return {"odd", "odd", 2};
    return row.isChecked ? Status{"sound", "sound", 3} : Status{"-", "", 4};
}

std::string Line(const char* style, const std::string& text) {
    return std::string("<p class=\"") + style + "\">" + Isolated(text) + "</p>";
}

std::string ProblemsOf(const ReportRow& row) {
    std::string problems;
    for (const std::string& error : row.errors) problems += Line("wrong", error);
    for (const LayoutFinding& finding : row.findings) {
        const std::string more =
            finding.alike == 0 ? "" : " And " + Grouped(finding.alike) + " more like it.";
        problems += Line(finding.isFault ? "wrong" : "odd", finding.text + more);
    }
    return problems;
}

std::string Picture(const ReportRow& row) {
    if (row.picture.empty()) return "";
    return "<img alt=\"Waveform and spectrogram\" width=\"" + std::to_string(Thumbnail::kWidth) +
           "\" height=\"" + std::to_string(Thumbnail::kHeight) + "\" src=\"data:image/png;base64," +
           ToUTF8(ToBase64(row.picture.data(), row.picture.size())) + "\">";
}

std::string TagsOf(const ReportRow& row) {
    std::string tags;
    for (const auto& [name, value] : row.tags) {
        tags += "<li><span class=\"tag\">" + Isolated(name) + ":</span> " + Isolated(value) + "</li>";
    }
    return tags.empty() ? "" : "<ul>" + tags + "</ul>";
}

std::string Row(const ReportRow& row) {
    const Status status = StatusOf(row);
    const bool hasAudio = row.measures.frames > 0;
    const auto& loudness = row.measures.loudness;
    const auto peak = hasAudio ? std::optional(20 * std::log10(row.measures.all.truePeak)) : std::nullopt;
    return "<tr><td class=\"name\" data-key=\"" + Escaped(row.name) + "\">" + Isolated(row.name) +
           ProblemsOf(row) + "</td><td class=\"" + status.style + "\" data-key=\"" +
           std::to_string(status.order) + "\">" + status.text + "</td><td>" + Picture(row) +
           "</td><td class=\"text\">" + Escaped(row.format) + "</td><td class=\"number\"" +
           (hasAudio
                ? " data-key=\"" + std::to_string(row.milliseconds) + "\">" + FormatDuration(row.milliseconds)
                : ">") +
           "</td>" + NumberCell(loudness ? std::optional(loudness->integrated) : std::nullopt) +
           NumberCell(loudness ? loudness->range : std::nullopt) + NumberCell(peak) + "<td class=\"text\">" +
           TagsOf(row) + "</td></tr>\n";
}

std::string Summary(const std::vector<ReportRow>& rows) {
    int64_t milliseconds = 0;
    for (const ReportRow& row : rows) milliseconds += row.milliseconds;
    const auto faulty = std::ranges::count_if(rows, &ReportRow::HasFaults);
    return "<p>" + Counted(rows.size(), "file") + ", " + FormatDuration(milliseconds) + " of audio, " +
           (faulty == 0 ? "nothing wrong" : Grouped(faulty) + " with something wrong") + ".</p>\n";
}

std::string Header(const char* text, bool isNumber) {
    return std::string("<th scope=\"col\"") + (isNumber ? " class=\"number\"" : "") + "><button>" + text +
           "</button></th>";
}

}  // namespace

bool ReportRow::HasFaults() const {
    return !errors.empty() || std::ranges::any_of(findings, &LayoutFinding::isFault);
}

std::string ReportPage(const std::vector<ReportRow>& rows) {
    std::string page = kHead;
    page += "<h1>Audio files</h1>\n" + Summary(rows) + "<table>\n<thead><tr>" + Header("File", false) +
            Header("Status", false) + "<th scope=\"col\">Waveform and spectrogram</th>" +
            Header("Format", false) + Header("Length", true) + Header("Loudness (LUFS)", true) +
            Header("Range (LU)", true) + Header("True peak (dBTP)", true) + Header("Tags", false) +
            "</tr></thead>\n<tbody>\n";
    for (const ReportRow& row : rows) page += Row(row);
    return page + kTail;
}

}  // namespace w64
