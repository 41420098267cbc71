// Tables that a click on a column sorts.
import {el, button} from "./dom.js";

/**
 * @typedef {Object} TableColumn
 * @property {string} title
 * @property {(row: any) => string | Node} text
 * @property {(row: any) => number | string} [key] to sort by
 * @property {boolean} [words] of words, not of numbers
 */

/** Rows that a table shows at most; the rest is said. */
const mostRows = 2000;

/** @param {string} name @param {TableColumn[]} columns @param {any[]} rows @param {(row: any) => Record<string, any>} [attributes] */
export function table(name, columns, rows, attributes = () => ({})) {
    const body = el("tbody");
    const heads = columns.map((column, n) => el("th", {scope: "col", class: column.words ? "text" : null}, column.key ? button(column.title, () => sort(n)) : column.title));
    let sorted = -1, down = false;
    const fill = () => body.replaceChildren(...rows.slice(0, mostRows).map((row) =>
        el("tr", attributes(row), columns.map((column) => el("td", {class: column.words ? "text" : null}, column.text(row))))));
    /** @param {number} n */
    function sort(n) {
        down = sorted === n && !down;
        sorted = n;
        const key = /** @type {(row: any) => any} */ (columns[n].key), sign = down ? -1 : 1;
        rows = [...rows].sort((a, b) => (key(a) < key(b) ? -sign : key(a) > key(b) ? sign : 0));
        heads.forEach((head, i) => head.setAttribute("aria-sort", i !== n ? "none" : down ? "descending" : "ascending"));
        fill();
    }
    fill();
    const more = rows.length > mostRows ? [el("p", {class: "note"}, `The first ${mostRows} of ${rows.length} rows.`)] : [];
    return el("div", {class: "table", "data-table": name, tabindex: 0},
        el("table", {}, el("thead", {}, el("tr", {}, heads)), body), ...more);
}

/** Names and values. @param {[string, string][]} pairs */
export function facts(pairs) {
    return el("dl", {class: "facts"}, pairs.map(([name, value]) => el("div", {}, el("dt", {}, name), el("dd", {}, value))));
}
