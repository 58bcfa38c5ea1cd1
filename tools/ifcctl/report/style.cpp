// SPDX-License-Identifier: MIT OR GPL-2.0
#include "style.h"

namespace ifcctl::report
{

const char kStyle[] = R"css(
:root {
  color-scheme: light dark;
  --page: #f7f7f4; --card: #ffffff; --ink: #1c2530; --soft: #566170; --line: #e2e3de; --track: #e9eae6;
  --accent: #0b6864; --some: #8fc1bb; --code: #f1f2ee; --focus: #0b5fd0; --bad: #a3261f; --badcard: #fbeceb;
  --good: #20663a; --goodcard: #e9f3ec; --note: #7a4a00; --notecard: #fbf0dc;
  --o0: #cde6e2; --o1: #f4e1c3; --o2: #dedaf2; --o3: #d8e8c9; --o4: #f5d7d3; --o5: #d0e1f3;
}
@media (prefers-color-scheme: dark) {
  :root {
    --page: #14181d; --card: #1b2027; --ink: #e6eaee; --soft: #a3aebb; --line: #2c333c; --track: #2a313a;
    --accent: #5cc2b6; --some: #35716b; --code: #242b33; --focus: #7db4ff; --bad: #ff9e94; --badcard: #3a2222;
    --good: #86d3a0; --goodcard: #1c3326; --note: #f0c274; --notecard: #3a2f1b;
    --o0: #1d4f4b; --o1: #57432a; --o2: #413c6c; --o3: #39532d; --o4: #5e3834; --o5: #2a4a6c;
  }
}
* { box-sizing: border-box; }
html { -webkit-text-size-adjust: 100%; scroll-behavior: smooth; }
@media (prefers-reduced-motion: reduce) { html { scroll-behavior: auto; } }
body {
  margin: 0; background: var(--page); color: var(--ink);
  font: 16px/1.55 system-ui, -apple-system, "Segoe UI", Roboto, "Helvetica Neue", "Noto Sans",
    "DejaVu Sans", sans-serif;
}
code, .words { font-family: ui-monospace, "SF Mono", "Cascadia Mono", Menlo, Consolas, "DejaVu Sans Mono",
  monospace; }
a { color: var(--accent); text-underline-offset: .2em; text-decoration-thickness: 1px; }
:focus-visible { outline: 3px solid var(--focus); outline-offset: 2px; border-radius: 4px; }
.skip { position: absolute; left: 1rem; top: -4rem; background: var(--card); padding: .5rem 1rem;
  border-radius: 6px; z-index: 1; }
.skip:focus { top: 1rem; }
.inner { max-width: 1160px; margin: 0 auto; padding: 0 20px; }
header { padding: 48px 0 8px; }
h1 { font-size: 2rem; line-height: 1.2; letter-spacing: -.02em; margin: 0 0 6px; overflow-wrap: anywhere; }
h2 { font-size: 1.3rem; line-height: 1.3; letter-spacing: -.01em; margin: 0 0 4px; }
h3 { font-size: 1rem; margin: 28px 0 8px; }
p { margin: 0 0 12px; max-width: 72ch; }
.soft { color: var(--soft); }
.meta { color: var(--soft); overflow-wrap: anywhere; }
nav ul { list-style: none; display: flex; flex-wrap: wrap; gap: 4px 22px; margin: 20px 0 0; padding: 0; }
nav a { display: inline-block; padding: 4px 0; text-decoration: none; border-bottom: 1px solid var(--line); }
nav a:hover { border-color: var(--accent); }
.facts { display: grid; grid-template-columns: repeat(auto-fit, minmax(150px, 1fr)); gap: 12px;
  margin: 28px 0 0; padding: 0; }
.facts div { background: var(--card); border: 1px solid var(--line); border-radius: 10px;
  padding: 14px 16px; }
.facts dt { color: var(--soft); font-size: .875rem; }
.facts dd { margin: 2px 0 0; font-size: 1.5rem; line-height: 1.25; font-weight: 600;
  font-variant-numeric: tabular-nums; }
.facts dd small { display: block; font-size: .875rem; font-weight: 400; color: var(--soft);
  line-height: 1.4; }
main section { margin: 36px 0 0; background: var(--card); border: 1px solid var(--line);
  border-radius: 12px; padding: 24px 26px 26px; }
main section > p { color: var(--soft); }
section:target, tr:target { scroll-margin-top: 16px; }
table { border-collapse: collapse; width: 100%; font-size: .9375rem; }
caption { text-align: left; color: var(--soft); padding: 0 0 8px; font-size: .9375rem; }
th, td { text-align: left; vertical-align: top; padding: 12px 18px 12px 0;
  border-bottom: 1px solid var(--line); }
th:last-child, td:last-child { padding-right: 0; }
thead th.number { white-space: normal; }
thead th { color: var(--soft); font-weight: 500; font-size: .875rem; padding-top: 4px; padding-bottom: 8px;
  vertical-align: bottom; }
tbody th { font-weight: 600; }
tbody tr:last-child > * { border-bottom: 0; }
tr:target > th { box-shadow: inset 3px 0 var(--accent); padding-left: 10px; }
.number { text-align: right; font-variant-numeric: tabular-nums; white-space: nowrap; }
.place { display: block; color: var(--soft); font-weight: 400; font-size: .875rem; }
.name { white-space: nowrap; }
.words { font-size: .84375rem; line-height: 1.5; overflow-wrap: anywhere; }
.words span { display: inline-block; max-width: 100%; background: var(--code); border-radius: 5px;
  padding: 1px 7px; margin: 1px 2px 3px 0; }
.words b { font-weight: 400; color: var(--soft); }
.words .none { background: none; padding: 0; color: var(--soft); }
code { font-size: .84375rem; background: var(--code); border-radius: 5px; padding: 2px 6px;
  overflow-wrap: anywhere; }
svg { display: block; }
.map { width: 100%; height: auto; font: inherit; overflow: visible; }
.map text { fill: var(--ink); text-anchor: middle; }
.map .tick { fill: var(--soft); font-size: 12px; font-variant-numeric: tabular-nums; }
.map .note { fill: var(--soft); font-size: 12.5px; text-anchor: start; }
.map .name { font-size: 14px; font-weight: 600; }
.map text.free { fill: var(--soft); font-size: 13px; }
.map path.free { fill: none; stroke: var(--soft); stroke-opacity: .5; stroke-dasharray: 3 4; }
.map .border { stroke: var(--soft); stroke-opacity: .5; stroke-dasharray: 1 4; stroke-linecap: round; }
.map .entry { stroke: var(--ink); stroke-opacity: .35; }
.map a { text-decoration: none; outline: none; }
.map a:hover path, .map a:focus-visible path { stroke: var(--focus); stroke-width: 2.5; }
.o0 { fill: var(--o0); background: var(--o0); } .o1 { fill: var(--o1); background: var(--o1); }
.o2 { fill: var(--o2); background: var(--o2); } .o3 { fill: var(--o3); background: var(--o3); }
.o4 { fill: var(--o4); background: var(--o4); } .o5 { fill: var(--o5); background: var(--o5); }
.swatch { display: inline-block; width: 12px; height: 12px; border-radius: 4px; margin-right: 9px;
  vertical-align: -1px; }
.swatch ~ .place { padding-left: 21px; }
.map .bad { fill: var(--badcard); stroke: var(--bad); }
.arcs { width: 100%; height: auto; margin: 8px 0 20px; overflow: hidden; }
.arcs text { fill: var(--ink); font-size: 14px; font-weight: 600; }
.arc { fill: none; stroke: var(--accent); stroke-width: 1.5; stroke-opacity: .75; }
.head, .wins { fill: var(--accent); } .loses { fill: var(--card); stroke: var(--accent); stroke-width: 1.5; }
.narrow { display: none; }
.bar { width: 100%; height: 8px; border-radius: 4px; margin-top: 7px; overflow: hidden; }
.track { fill: var(--track); } .some { fill: var(--some); } .fill { fill: var(--accent); }
th.nobody { padding-left: 21px; }
.nobody .fill { fill: var(--soft); }
.figure { font-variant-numeric: tabular-nums; font-weight: 600; margin-right: 6px; }
.activity { width: 100%; min-width: 110px; height: 26px; }
.key { display: inline-flex; align-items: center; gap: 7px; margin-right: 18px; }
.key i { width: 14px; height: 8px; border-radius: 3px; }
.check { border-top: 1px solid var(--line); padding: 18px 0 4px; margin-top: 18px; }
.check h3 { margin: 0 0 2px; display: flex; flex-wrap: wrap; align-items: baseline; gap: 4px 12px; }
.check p { color: var(--soft); }
.state { font-size: .875rem; font-weight: 500; border-radius: 999px; padding: 1px 10px; }
.state.good { color: var(--good); background: var(--goodcard); }
.state.note { color: var(--note); background: var(--notecard); }
.state.bad { color: var(--bad); background: var(--badcard); }
.check ul { margin: 0 0 12px; padding-left: 1.2em; }
.check li { margin: 4px 0; overflow-wrap: anywhere; }
.pair .place, .losers .place { font-family: ui-monospace, "SF Mono", "Cascadia Mono", Menlo, Consolas,
  "DejaVu Sans Mono", monospace; font-size: .8125rem; overflow-wrap: anywhere; margin: 2px 0 6px; }
.then { display: block; }
@media (min-width: 781px) { .overlaps th:nth-child(1) { width: 38%; }
  .overlaps th:nth-child(2) { width: 20%; } }
.fits th:first-child { width: 55%; padding-right: 32px; }
.losers { list-style: none; margin: 0; padding: 0; display: grid; gap: 12px 24px;
  grid-template-columns: repeat(auto-fill, minmax(190px, 1fr)); }
footer { color: var(--soft); font-size: .875rem; padding: 28px 0 48px; }
@media (max-width: 780px) {
  .wide { display: none; }
  .narrow { display: block; max-width: 480px; }
  .inner { padding: 0 14px; }
  header { padding-top: 28px; }
  h1 { font-size: 1.6rem; }
  .facts { grid-template-columns: 1fr 1fr; }
  main section { padding: 18px 16px 20px; margin-top: 20px; }
  .stack, .stack tbody, .stack tr, .stack th, .stack td, .stack caption { display: block; width: auto; }
  .stack thead { position: absolute; width: 1px; height: 1px; overflow: hidden; clip-path: inset(50%);
    white-space: nowrap; }
  .stack tr { padding: 14px 0; border-bottom: 1px solid var(--line); }
  .stack tr:last-child { border-bottom: 0; padding-bottom: 0; }
  .stack th, .stack td { border: 0; padding: 3px 0; text-align: left; }
  .stack th.nobody { padding-left: 21px; }
  .stack td[data-label]::before { content: attr(data-label); display: block; color: var(--soft);
    font-size: .8125rem; }
  .traffic tr { display: grid; grid-template-columns: 6.5rem 1fr; column-gap: 12px; padding: 10px 0; }
  .traffic th { grid-column: 1; grid-row: 1; }
  .traffic td.frames, .traffic td.course { grid-column: 2; }
  .traffic td.short { grid-column: 1; color: var(--soft); font-size: .8125rem; padding: 0 0 0 21px;
    white-space: normal; }
  .traffic td.short.bytes { grid-row: 2; }
  .traffic td.frames::before, .traffic td.course::before { content: none; }
  .traffic td.short::before { content: attr(data-label) " "; display: inline; }
  .traffic .activity { height: 20px; }
  .misses tr { display: grid; grid-template-columns: 1fr auto; column-gap: 12px; padding: 10px 0; }
  .misses td.command { grid-column: 1 / 3; }
  .misses td[data-label]::before { content: none; }
  .bar { max-width: 420px; }
  .fits th, .fits td { padding-right: 12px; }
  .fits th:first-child { width: 46%; }
}
@media print {
  body { background: none; font-size: 12px; }
  nav, .skip { display: none; }
  main section { break-inside: avoid; border: 0; padding: 0; }
}
)css";

} // namespace ifcctl::report
