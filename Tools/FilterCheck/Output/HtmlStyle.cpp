#include "FilterCheck/Output/HtmlStyle.h"

namespace FilterCheck {

// Green, amber and red represent risk and nothing else.
const char kHtmlStyle[] = R"css(
:root {
  color-scheme: light dark;
  --ground: #f4f6f8; --sheet: #ffffff; --line: #dde2e9; --text: #1c2430; --quiet: #566172; --chip: #e9edf1;
  --good: #14532d; --good-ground: #ddf2e3; --good-solid: #1c6e3d;
  --caution: #6a4300; --caution-ground: #fdeecb; --caution-solid: #f2b632;
  --bad: #8a1c16; --bad-ground: #fde3e0; --bad-solid: #b3261e;
  --mark: #1c4f91;
}
@media screen and (prefers-color-scheme: dark) {
  :root {
    --ground: #11151b; --sheet: #191f28; --line: #2d3643; --text: #e5e9ef; --quiet: #a6b0be; --chip: #2b3441;
    --good: #9ee2b5; --good-ground: #15372a; --good-solid: #217a45;
    --caution: #f3d07a; --caution-ground: #40320f; --caution-solid: #e0a526;
    --bad: #ffb6ad; --bad-ground: #481f1d; --bad-solid: #c2342b;
    --mark: #8fbcf5;
  }
}
.good { --risk: var(--good); --risk-ground: var(--good-ground); --solid: var(--good-solid); --on: #ffffff; }
.caution { --risk: var(--caution); --risk-ground: var(--caution-ground); --solid: var(--caution-solid); --on: #2a1c00; }
.bad { --risk: var(--bad); --risk-ground: var(--bad-ground); --solid: var(--bad-solid); --on: #ffffff; }
* { box-sizing: border-box; }
body {
  margin: 0; padding: 2rem 1rem 3rem; background: var(--ground); color: var(--text);
  font: 16px/1.55 system-ui, "Segoe UI", Roboto, "Helvetica Neue", sans-serif;
}
main { max-width: 66rem; margin: 0 auto; }
h1, h2, h3, p, dl, dd, ul { margin: 0; }
h1 { font-size: 1.7rem; line-height: 1.2; font-weight: 650; overflow-wrap: anywhere; }
h2 { font-size: 1.15rem; font-weight: 650; margin-bottom: .9rem; }
h3 { font-size: .95rem; font-weight: 600; color: var(--quiet); margin: 1.4rem 0 .6rem; }
code { font: .88em/1.4 ui-monospace, Consolas, "DejaVu Sans Mono", monospace; }
.quiet, dt { color: var(--quiet); }
.small { font-size: .86rem; }
header { margin: 0 .25rem 1.25rem; }
time { display: block; }
header .chip { margin: .6rem .4rem 0 0; }
section, .verdict, .kind {
  background: var(--sheet); border: 1px solid var(--line); border-radius: 10px;
  padding: 1.25rem 1.4rem; margin-bottom: 1.1rem;
}
.verdict {
  display: flex; gap: 1rem; align-items: center; font-size: 1.2rem; font-weight: 600; line-height: 1.45;
  background: var(--solid); color: var(--on); border-color: var(--solid);
}
.verdict p + p { font-weight: 400; font-size: .95rem; margin-top: .4rem; }
.verdict .sign { font-size: 2rem; line-height: 1; min-width: 2rem; text-align: center; }
.kinds { display: grid; grid-template-columns: repeat(3, minmax(0, 1fr)); gap: 1.1rem; margin-bottom: 1.1rem; }
.kind { margin: 0; padding: 1rem 1.2rem; border-top: 6px solid var(--solid); overflow-wrap: anywhere; }
.kind h2 { font-size: 1rem; margin-bottom: .5rem; }
.kind .state {
  background: var(--risk-ground); color: var(--risk); border-radius: 6px; padding: .45rem .7rem; font-weight: 650;
  display: flex; gap: .5rem; margin-bottom: .6rem; font-size: .95rem;
}
.kind.bad { background: var(--risk-ground); }
.kind.bad .state { background: var(--solid); color: var(--on); }
.kind.bad, .kind.bad .quiet { color: var(--risk); }
.kind ul { padding: 0; list-style: none; font-size: .92rem; }
.kind li { border-top: 1px solid var(--line); padding: .25rem 0; }
.kind li:first-child { margin-top: .3rem; }
.kind h2::first-letter, .kind .small::first-letter, h3::first-letter { text-transform: uppercase; }
.today { color: var(--mark); font-size: .86rem; }
.chip {
  display: inline-block; border-radius: 6px; padding: .1rem .5rem; font-size: .82rem; font-weight: 600;
  background: var(--chip); color: var(--text); overflow-wrap: anywhere;
}
.chip.good, .chip.caution, .chip.bad { background: var(--risk-ground); color: var(--risk); }
.chip.mark { background: none; color: var(--mark); border: 1.5px solid var(--mark); }
table { border-collapse: separate; border-spacing: 0; width: 100%; font-size: .92rem; }
th { text-align: left; font-weight: 600; }
.matrix { table-layout: fixed; }
.matrix thead th { vertical-align: bottom; padding: .2rem .3rem .4rem; text-align: center; line-height: 1.3; }
.matrix thead th:first-child { width: 33%; text-align: left; padding-left: 0; }
.matrix tbody th, .matrix td { border-top: 1px solid var(--line); padding: .4rem .3rem; overflow-wrap: anywhere; }
.matrix tbody th { padding-left: 0; font-weight: 600; line-height: 1.35; }
.matrix tbody th code { display: block; font-weight: 400; font-size: .72rem; color: var(--quiet); }
.matrix .name { margin-right: .5rem; }
.matrix .chip { font-size: .7rem; padding: 0 .3rem; }
.matrix td { text-align: center; line-height: 1.35; font-size: .87rem; }
.cell.shown { font-weight: 650; }
.cell.good, .cell.caution { background: var(--risk-ground); color: var(--risk); }
.cell.changed { box-shadow: inset 0 0 0 2px var(--mark); }
.finding { padding: .9rem 0; border-top: 1px solid var(--line); }
h2 + .finding { border-top: 0; padding-top: 0; }
.finding:last-child { padding-bottom: 0; }
.finding .head { display: flex; flex-wrap: wrap; gap: .3rem .6rem; align-items: baseline; }
.finding .subject { font-weight: 600; }
.finding p { margin-top: .3rem; }
.finding.gone .subject, .finding.gone p { text-decoration: line-through; color: var(--quiet); }
.list th, .list td { vertical-align: top; padding: .55rem .8rem .55rem 0; border-top: 1px solid var(--line); }
.list thead th { border-top: 0; color: var(--quiet); font-size: .85rem; padding-top: 0; }
.list tbody th { width: 44%; }
.list tbody th > code { font-size: .93rem; }
.list td, dd, .verdict p, .finding p, .finding .subject { overflow-wrap: anywhere; }
.list td.value { width: 26%; font-weight: 600; }
.list tr.unset td.value { font-weight: 400; color: var(--quiet); }
.list .meaning { font-weight: 400; color: var(--quiet); font-size: .86rem; display: block; }
.list .today { display: block; font-weight: 400; }
summary { cursor: pointer; font-weight: 600; padding: .4rem 0 .6rem; }
dl { display: grid; grid-template-columns: minmax(11rem, 30%) 1fr; gap: .35rem 1rem; font-size: .92rem; }
@media (max-width: 46rem) {
  body { padding: 1.2rem .7rem 2rem; }
  section, .verdict, .kind { padding: 1rem; }
  .verdict { font-size: 1.05rem; gap: .6rem; }
  .kinds { grid-template-columns: 1fr; gap: .7rem; }
  .matrix, .matrix tbody, .list, .list tbody { display: block; width: auto; }
  .matrix thead, .list thead { display: none; }
  .matrix tr { display: grid; grid-template-columns: repeat(3, minmax(0, 1fr)); gap: 5px; margin-bottom: 1rem; }
  .matrix tr th { grid-column: 1 / -1; }
  .matrix tbody th, .matrix td { padding: .3rem .15rem; }
  .matrix td { border: 0; border-radius: 6px; }
  .matrix td::before {
    content: attr(data-label); display: block; font-weight: 400; font-size: .76rem; line-height: 1.25;
  }
  .list tr { display: grid; grid-template-columns: 1fr 1fr; gap: 0 1rem; padding: .7rem 0; }
  .list tr + tr { border-top: 1px solid var(--line); }
  .list tr th { grid-column: 1 / -1; padding-bottom: .3rem; }
  .list th, .list td { border: 0; padding: 0; min-width: 0; }
  .list tbody th, .list td.value { width: auto; }
  dl { grid-template-columns: 1fr; gap: 0; }
  dd { margin-bottom: .55rem; }
}
@media print {
  :root { --ground: #ffffff; --text: #000000; font-size: 13px; }
  * { print-color-adjust: exact; -webkit-print-color-adjust: exact; }
  body { padding: 0; font-size: 1rem; }
  section { border-radius: 0; padding: .6rem 0; border-width: 1px 0 0; margin-bottom: .4rem; }
  tr, .finding, .verdict, .kind { break-inside: avoid; }
  h2, h3 { break-after: avoid; }
}
)css";

}  // namespace FilterCheck
