// The list of events: sorted by a click on a column, with rows only where the reader looks.
import {el, button} from "./dom.js";
import {fixed, utc} from "./format.js";

/** @typedef {import("./store.js").Store} Store */

const rowHeight = 26;  // pixels, as in style.css

/** @type {[string, string, string, (store: Store, i: number) => string][]} */
const columns = [
    ["time", "Origin time, UTC", "", (s, i) => utc(s.data.events.time[i])],
    ["lat", "Latitude", "°", (s, i) => fixed(s.data.events.lat[i], 4)],
    ["lon", "Longitude", "°", (s, i) => fixed(s.data.events.lon[i], 4)],
    ["depth", "Depth", "km", (s, i) => fixed(s.data.events.depth[i], 1)],
    ["major", "Error", "km", (s, i) => fixed(s.data.events.major[i], 1)],
    ["p", "P", "", (s, i) => String(s.data.events.p[i])],
    ["s", "S", "", (s, i) => String(s.data.events.s[i])],
    ["stations", "Stations", "", (s, i) => String(s.data.events.stations[i])],
    ["gap", "Gap", "°", (s, i) => fixed(s.data.events.gap[i], 0)],
    ["scatter", "Scatter", "s", (s, i) => fixed(s.data.events.scatter[i], 2)],
    ["score", "Score", "", (s, i) => fixed(s.data.events.score[i], 1)],
    ["grid", "Grid", "", (s, i) => s.data.texts[s.data.events.grid[i]]],
];

/** @param {Store} store @param {() => void} open */
export function list(store, open) {
    const heads = columns.map(([key, title, unit]) =>
        el("th", {scope: "col", "data-key": key}, button(title + (unit ? `, ${unit}` : ""), () => store.sortBy(key))));
    const above = el("tr", {"aria-hidden": true}), below = el("tr", {"aria-hidden": true});
    const body = el("tbody");
    const box = el("div", {class: "list", tabindex: 0, "aria-label": "List of events"},
        el("table", {}, el("thead", {}, el("tr", {}, heads)), body));
    let first = -1, last = -1;

    /** @param {number} i */
    function row(i) {
        return el("tr", {
            "data-event": i, class: i === store.selected ? "chosen" : null, "aria-selected": i === store.selected,
            onclick: () => store.select(i), ondblclick: open,
            onpointerenter: () => store.hover(i), onpointerleave: () => store.hover(-1),
        }, columns.map(([, , , text]) => el("td", {}, text(store, i))));
    }
    /** @param {boolean} anew */
    function fill(anew) {
        const from = Math.max(0, Math.floor(box.scrollTop / rowHeight) - 5);
        const to = Math.min(store.shown.length, from + Math.ceil((box.clientHeight || 400) / rowHeight) + 12);
        if (!anew && from === first && to === last) return;
        first = from;
        last = to;
        above.style.height = from * rowHeight + "px";
        below.style.height = (store.shown.length - to) * rowHeight + "px";
        body.replaceChildren(above, ...store.shown.slice(from, to).map(row), below);
    }
    function mark() {
        heads.forEach((head, n) => {
            const chosen = columns[n][0] === store.sort.key;
            head.setAttribute("aria-sort", chosen ? (store.sort.down ? "descending" : "ascending") : "none");
        });
    }
    function follow() {
        const at = store.shown.indexOf(store.selected);
        if (at < 0) return;
        const top = at * rowHeight;
        if (top < box.scrollTop || top > box.scrollTop + box.clientHeight - 3 * rowHeight) {
            box.scrollTop = Math.max(0, top - box.clientHeight / 2);
        }
    }
    box.addEventListener("scroll", () => fill(false));
    new ResizeObserver(() => fill(true)).observe(box);
    store.on((what) => {
        if (what === "filter") mark();
        if (what === "selected") follow();
        if (what === "filter" || what === "selected") fill(true);
    });
    mark();
    fill(true);
    return box;
}
