#include "page/pagestyle.h"

const char *pageStyle()
{
    return R"(:root {
  color-scheme: light dark;
  --text: #1c1e21; --page: #fff; --faint: #5c636b; --line: #d5d9de; --link: #0b57b8; --head: #f2f4f6;
  --warning: #8a5a00; --critical: #b3261e; --marked: #fff3bf;
}
@media (prefers-color-scheme: dark) {
  :root {
    --text: #e4e6e9; --page: #17191c; --faint: #a0a7b0; --line: #3a3f45; --link: #86b7f7; --head: #22262a;
    --warning: #f0b849; --critical: #ff8a80; --marked: #3f3510;
  }
}
* { box-sizing: border-box; }
body { margin: 0; font: 1rem/1.45 system-ui, sans-serif; color: var(--text); background: var(--page);
  overflow-wrap: anywhere; }
main { max-width: 90rem; margin: 0 auto; padding: 1rem; }
h1 { margin: 0 0 .75rem; font-size: 1.5rem; }
a { color: var(--link); }
form { display: flex; flex-wrap: wrap; gap: .75rem; align-items: end; }
label { display: grid; gap: .2rem; color: var(--faint); font-size: .875rem; }
select, input, button { font: inherit; font-size: 1rem; height: 2.25rem; padding: 0 .5rem; }
input { width: 10.5rem; max-width: 100%; }
input[name=text] { width: 16rem; }
.status, .more, .about { color: var(--faint); font-size: .875rem; }
a.more { color: var(--link); }
.more { display: inline-block; margin-right: .4rem; }
.about > * { display: inline-block; margin-right: .6rem; }
.about + ul { margin-bottom: .75rem; }
.about + ul::before { content: "Rooms"; color: var(--faint); font-size: .875rem; }
pre { white-space: pre-wrap; padding: .75rem; background: var(--head); }
table { width: 100%; border-collapse: collapse; }
th, td { padding: .5rem .6rem; text-align: left; vertical-align: top; border-bottom: 1px solid var(--line); }
th { overflow-wrap: normal; }
thead th { background: var(--head); font-size: .875rem; }
th[scope=row] { font-weight: normal; color: var(--faint); }
td[data-label=Time], td[data-label=Kind], td[data-label=Size], td[data-label=Level] { white-space: nowrap; }
td[data-label=Size], .uploads thead th:last-child { text-align: right; }
td[data-label=File] { min-width: 20rem; }
ul { margin: 0; padding: 0; list-style: none; }
.file { display: block; }
.unsplit { font-family: monospace; font-size: .875rem; white-space: pre-wrap; }
nav { display: flex; flex-wrap: wrap; gap: 1rem; padding: .5rem 0 1rem; }
.log { font-size: .875rem; }
.log th, .log td { padding: .2rem .6rem; }
.log .text { width: 100%; font-family: monospace; white-space: pre-wrap; }
td[data-label=Place] { min-width: 14rem; }
.log th a { color: inherit; font-weight: normal; text-decoration: none; }
.log th a:hover { text-decoration: underline; }
.log tr:target { background: var(--marked); }
.debug, .log td:not(.text) { color: var(--faint); }
.warning, .warning td[data-label=Level] { color: var(--warning); }
.critical, .fatal, .critical td[data-label=Level], .fatal td[data-label=Level] { color: var(--critical); }
.chart { margin: 1rem 0 0; max-width: 60rem; }
.chart > svg { display: block; width: 100%; height: 6rem; border-bottom: 1px solid var(--faint); }
figcaption { display: flex; flex-wrap: wrap; justify-content: space-between; color: var(--faint); font-size: .875rem; }
.legend { display: flex; flex-wrap: wrap; gap: 0 1rem; flex-basis: 100%; }
.key { width: .8em; height: .8em; }
.chart rect { fill: var(--faint); }
.kind-crash { fill: #d55e00; }
.kind-logfile { fill: #3b82c4; }
.kind-producer { fill: #7cc7ee; }
.kind-uploadrequest { fill: #009e73; }
.kind-error { fill: #e0a100; }
.kind-report { fill: #b76fa0; }
@media (max-width: 66rem) {
  thead { position: absolute; width: 1px; height: 1px; overflow: hidden; clip-path: inset(50%); }
  table, tbody, tr { display: block; }
  tr { margin-bottom: .75rem; padding: .25rem .6rem; border: 1px solid var(--line); border-radius: .4rem; }
  th, td { padding: .2rem 0; border: 0; }
  .uploads th, .uploads td { display: block; }
  .uploads td { display: grid; grid-template-columns: 4rem 1fr; gap: .5rem; }
  .uploads td::before { content: attr(data-label); color: var(--faint); font-size: .875rem; }
  td[data-label=File] { min-width: 0; }
  td[data-label=Size] { text-align: left; }
  th[scope=row]::before { content: "No. "; }
  .log th, .log td { display: inline-block; padding: 0 .5rem 0 0; vertical-align: baseline; }
  .log th[scope=row]::before { content: "Byte "; }
  .log td:empty { display: none; }
  .log .text, td[data-label=Place] { display: block; min-width: 0; }
  a.more, .about a, nav a, .log th a { display: inline-block; padding: .25rem 0; }
  label { flex: 1 1 9rem; }
  input, input[name=text], select { width: 100%; }
  label:has([name=text]) { flex: 1 1 100%; }
}
)";
}
