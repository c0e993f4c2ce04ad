#include "page/pagestyle.h"

const char *pageStyle()
{
    return R"(:root {
  color-scheme: light dark;
  --text: #1c1e21; --page: #fff; --faint: #5c636b; --line: #d5d9de; --link: #0b57b8; --head: #f2f4f6;
}
@media (prefers-color-scheme: dark) {
  :root { --text: #e4e6e9; --page: #17191c; --faint: #a0a7b0; --line: #3a3f45; --link: #86b7f7; --head: #22262a; }
}
* { box-sizing: border-box; }
body { margin: 0; font: 1rem/1.45 system-ui, sans-serif; color: var(--text); background: var(--page); }
main { max-width: 90rem; margin: 0 auto; padding: 1rem; }
h1 { margin: 0 0 .75rem; font-size: 1.5rem; }
a { color: var(--link); }
form { display: flex; flex-wrap: wrap; gap: .75rem; align-items: end; }
label { display: grid; gap: .2rem; color: var(--faint); font-size: .875rem; }
select, input, button { font: inherit; font-size: 1rem; height: 2.25rem; padding: 0 .5rem; }
input { width: 20rem; max-width: 100%; }
.status, .more { color: var(--faint); font-size: .875rem; }
a.more { color: var(--link); }
.more { display: inline-block; margin-right: .4rem; }
pre { white-space: pre-wrap; overflow-wrap: anywhere; padding: .75rem; background: var(--head); }
table { width: 100%; border-collapse: collapse; }
th, td { padding: .5rem .6rem; text-align: left; vertical-align: top; border-bottom: 1px solid var(--line); }
thead th { background: var(--head); font-size: .875rem; }
td { overflow-wrap: anywhere; }
th[scope=row] { font-weight: normal; color: var(--faint); }
td[data-label=Time], td[data-label=Kind], td[data-label=Size] { white-space: nowrap; }
td[data-label=Size] { text-align: right; }
td[data-label=File] { min-width: 20rem; }
thead th:last-child { text-align: right; }
ul { margin: 0; padding: 0; list-style: none; }
.file { display: block; }
.unsplit { font-family: monospace; font-size: .875rem; white-space: pre-wrap; }
nav { padding: 1rem 0; }
@media (max-width: 66rem) {
  thead { position: absolute; width: 1px; height: 1px; overflow: hidden; clip-path: inset(50%); }
  table, tbody, tr, th, td { display: block; }
  tr { margin-bottom: .75rem; padding: .25rem .6rem; border: 1px solid var(--line); border-radius: .4rem; }
  th, td { padding: .2rem 0; border: 0; }
  td { display: grid; grid-template-columns: 4rem 1fr; gap: .5rem; }
  td::before { content: attr(data-label); color: var(--faint); font-size: .875rem; }
  td[data-label=Size] { text-align: left; }
  th[scope=row]::before { content: "No. "; }
  input { width: 100%; }
  label:has(input) { flex: 1 1 100%; }
}
)";
}
