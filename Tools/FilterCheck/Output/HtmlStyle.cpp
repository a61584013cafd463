#include "FilterCheck/Output/HtmlStyle.h"

namespace FilterCheck {

const char kHtmlStyle[] = R"css(
:root {
  color-scheme: light dark;
  --ground: #f4f6f8; --sheet: #ffffff; --line: #dde2e9; --text: #1c2430; --quiet: #566172;
  --good: #14532d; --good-ground: #ddf2e3; --off: #525d6d; --off-ground: #eef1f4;
  --caution: #6a4300; --caution-ground: #fdeecb; --bad: #8a1c16; --bad-ground: #fde3e0;
  --mark: #1c4f91;
}
@media (prefers-color-scheme: dark) {
  :root {
    --ground: #11151b; --sheet: #191f28; --line: #2d3643; --text: #e5e9ef; --quiet: #a6b0be;
    --good: #9ee2b5; --good-ground: #15372a; --off: #aab4c2; --off-ground: #232b36;
    --caution: #f3d07a; --caution-ground: #40320f; --bad: #ffb6ad; --bad-ground: #481f1d;
    --mark: #8fbcf5;
  }
}
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
h2 + h3 { margin-top: 0; }
code { font: .88em/1.4 ui-monospace, Consolas, "DejaVu Sans Mono", monospace; }
.quiet { color: var(--quiet); }
.small { font-size: .86rem; }
.any { overflow-wrap: anywhere; }
header { margin: 0 .25rem 1.25rem; }
section, .verdict {
  background: var(--sheet); border: 1px solid var(--line); border-radius: 12px;
  padding: 1.25rem 1.4rem; margin-bottom: 1.1rem;
}
.verdict { display: flex; gap: .9rem; align-items: center; font-size: 1.12rem; font-weight: 600; }
.verdict .sign {
  flex: none; width: 2.2rem; height: 2.2rem; border-radius: 50%; display: grid; place-items: center;
  font-size: 1.15rem; line-height: 1;
}
.verdict p + p { font-weight: 400; font-size: .95rem; }
.good .sign, .chip.protected { background: var(--good-ground); color: var(--good); }
.caution .sign { background: var(--caution-ground); color: var(--caution); }
.bad .sign { background: var(--bad-ground); color: var(--bad); }
.verdict.good { border-left: 5px solid var(--good); }
.verdict.caution { border-left: 5px solid var(--caution); }
.verdict.bad { border-left: 5px solid var(--bad); }
.what-if { display: flex; flex-wrap: wrap; gap: .5rem; list-style: none; padding: 0; margin-top: .7rem; }
.chip {
  display: inline-block; border-radius: 6px; padding: .1rem .5rem; font-size: .82rem; font-weight: 600;
  background: var(--off-ground); color: var(--off); overflow-wrap: anywhere;
}
.chip.problem { background: var(--bad-ground); color: var(--bad); }
.chip.warning, .chip.what-if { background: var(--caution-ground); color: var(--caution); }
.chip.change { background: none; color: var(--mark); border: 1.5px solid var(--mark); }
table { border-collapse: separate; border-spacing: 4px; width: 100%; font-size: .92rem; }
th { text-align: left; font-weight: 600; }
.matrix { table-layout: fixed; margin: 0 -4px; width: calc(100% + 8px); }
.matrix thead th { vertical-align: bottom; padding: .2rem .3rem .4rem; text-align: center; line-height: 1.3; }
.matrix thead th:first-child { width: 27%; text-align: left; padding-left: 0; }
.matrix tbody th, .matrix tfoot th { font-weight: 500; padding-right: .6rem; overflow-wrap: anywhere; }
.matrix td { text-align: center; }
.matrix td.cell { border-radius: 7px; padding: .42rem .2rem; font-weight: 600; font-size: .87rem; }
.matrix tfoot td { padding: .35rem .1rem 0; vertical-align: top; line-height: 1.35; overflow-wrap: anywhere; }
.cell.shown { background: var(--good-ground); color: var(--good); }
.matrix td.hidden { background: var(--off-ground); color: var(--off); font-weight: 400; }
.cell.changed { box-shadow: 0 0 0 2px var(--mark); }
.label { display: none; }
.sentences p { border-left: 3px solid var(--line); padding-left: .9rem; }
.sentences p + p { margin-top: .7rem; }
.finding { padding: .9rem 0; border-top: 1px solid var(--line); }
h2 + .finding { border-top: 0; padding-top: 0; }
.finding:last-child { padding-bottom: 0; }
.finding .head { display: flex; flex-wrap: wrap; gap: .3rem .6rem; align-items: baseline; }
.finding .subject { font-weight: 600; overflow-wrap: anywhere; }
.finding p { margin-top: .3rem; overflow-wrap: anywhere; }
.finding.gone .subject, .finding.gone p { text-decoration: line-through; color: var(--quiet); }
.list { border-spacing: 0; }
.list th, .list td { vertical-align: top; padding: .55rem .8rem .55rem 0; border-top: 1px solid var(--line); }
.list thead th { border-top: 0; color: var(--quiet); font-size: .85rem; padding-top: 0; }
.list tbody th { width: 44%; font-weight: 600; }
.list tbody th > code { font-size: .93rem; }
.list td { overflow-wrap: anywhere; }
.list td.value { width: 26%; font-weight: 600; }
.list tr.unset td.value { font-weight: 400; color: var(--quiet); }
.list .meaning { font-weight: 400; color: var(--quiet); font-size: .86rem; display: block; }
.list .today { display: block; font-weight: 400; color: var(--mark); font-size: .86rem; }
dl { display: grid; grid-template-columns: minmax(11rem, 30%) 1fr; gap: .35rem 1rem; font-size: .92rem; }
dt { color: var(--quiet); }
dd { overflow-wrap: anywhere; }
@media (max-width: 46rem) {
  body { padding: 1.2rem .7rem 2rem; }
  section, .verdict { padding: 1rem; }
  .matrix, .matrix tbody, .matrix tfoot, .list, .list tbody { display: block; width: auto; }
  .matrix { margin: 0; }
  .matrix thead, .list thead { display: none; }
  .matrix tr { display: grid; grid-template-columns: repeat(3, minmax(0, 1fr)); gap: 5px; margin-bottom: 1rem; }
  .matrix tr th { grid-column: 1 / -1; padding: 0; font-weight: 600; }
  .matrix td.cell { padding: .3rem .15rem; }
  .matrix tfoot td { padding: 0; }
  .label { display: block; font-weight: 400; font-size: .76rem; line-height: 1.25; }
  .list tr { display: grid; grid-template-columns: 1fr 1fr; gap: 0 1rem; padding: .7rem 0; }
  .list tr { border-top: 1px solid var(--line); }
  .list tr th { grid-column: 1 / -1; padding-bottom: .3rem; }
  .list tbody tr:first-child { border-top: 0; padding-top: 0; }
  .list th, .list td { border: 0; padding: 0; min-width: 0; }
  .list tbody th, .list td.value { width: auto; }
  dl { grid-template-columns: 1fr; gap: 0; }
  dd { margin-bottom: .55rem; }
}
@media print {
  :root {
    --ground: #ffffff; --sheet: #ffffff; --line: #c9cfd8; --text: #000000; --quiet: #444c59;
    --good: #14532d; --good-ground: #ddf2e3; --off: #444c59; --off-ground: #f1f3f6;
    --caution: #6a4300; --caution-ground: #fdeecb; --bad: #8a1c16; --bad-ground: #fde3e0; --mark: #1c4f91;
  }
  * { print-color-adjust: exact; -webkit-print-color-adjust: exact; }
  body { padding: 0; font-size: 11pt; }
  section, .verdict { border-radius: 0; padding: .6rem 0; border-width: 1px 0 0; margin-bottom: .4rem; }
  tr, .finding, .verdict, .sentences p { break-inside: avoid; }
  h2, h3 { break-after: avoid; }
}
)css";

}  // namespace FilterCheck
