// The catalogue: map, sections, time and list of the same events, with what chooses among them.
import {el, field, button} from "./dom.js";
import {eventMap} from "./event_map.js";
import {epochOf, utc} from "./format.js";
import {list} from "./list.js";
import {section, SectionLine} from "./sections.js";
import {everything} from "./store.js";
import {timeline} from "./timeline.js";

/** @typedef {import("./store.js").Store} Store */

/** Fields of the filter: name, key, where it stands when empty. @type {[string, keyof import("./store.js").Filter, number][]} */
const limits = [
    ["depth from, km", "shallow", -Infinity], ["to, km", "deep", Infinity], ["picks at least", "picks", 0],
    ["gap at most, °", "gap", Infinity], ["scatter at most, s", "scatter", Infinity],
];

/** @param {Store} store */
function filterBar(store) {
    const text = el("input", {type: "search", name: "text", placeholder: "identifier or grid",
                              oninput: () => store.setFilter({text: text.value.trim()})});
    const numbers = limits.map(([name, key, empty]) => {
        const input = el("input", {type: "number", step: "any", name: key, oninput: () =>
            store.setFilter({[key]: input.value === "" ? empty : Number(input.value)})});
        return field(name, input);
    });
    const times = /** @type {["from", "to"]} */ (["from", "to"]).map((key) => {
        const input = el("input", {type: "text", name: key, placeholder: "2016-10-14 00:05", size: 19, onchange: () => {
            const value = epochOf(input.value);
            input.setAttribute("aria-invalid", String(input.value !== "" && Number.isNaN(value)));
            store.setFilter({[key]: Number.isNaN(value) ? everything()[key] : value});
        }});
        store.on((what) => {
            const value = store.filter[key];
            if (what === "filter" && document.activeElement !== input) input.value = Number.isFinite(value) ? utc(value, 1) : "";
        });
        return field(key === "from" ? "from, UTC" : "to, UTC", input);
    });
    const reset = button("All events", () => {
        for (const input of bar.querySelectorAll("input")) input.value = "";
        store.setFilter(everything());
    });
    const bar = el("div", {class: "filter", role: "search"}, field("find", text), times, numbers, reset);
    return bar;
}

/** @param {Store} store */
function azimuthField(store) {
    const input = el("input", {type: "range", min: 0, max: 179, step: 1, value: store.azimuth, name: "azimuth",
                               oninput: () => store.setAzimuth(Number(input.value))});
    const value = el("output", {}, `${store.azimuth}°`);
    store.on((what) => { if (what === "section") value.textContent = `${store.azimuth}°`; });
    return el("div", {class: "azimuth"}, field("azimuth of the first section", input), value);
}

/**
 * @param {Store} store @param {import("./symbols.js").Symbols} symbols
 * @param {import("./projection.js").Plane} plane @param {() => void} open the event that is chosen
 */
export function catalogue(store, symbols, plane, open) {
    const line = new SectionLine(store);
    const map = eventMap(store, symbols, plane, line, open);
    const sections = [0, 90].map((turn) => section(store, symbols, line, turn, open));
    const time = timeline(store, symbols, open);
    const all = [map, ...sections, time];
    store.on((what) => {
        if (what === "selected" && store.selected >= 0) {
            map.show(store.data.events.lat[store.selected], store.data.events.lon[store.selected]);
        }
        for (const figure of what === "section" ? [map, ...sections] : all) figure.request();
    });
    map.element.classList.add("tall");
    const tools = el("span", {class: "tools"},
        button("+", () => map.key(keyed("+")), {title: "Closer"}), button("−", () => map.key(keyed("-")), {title: "Wider"}),
        button("All", () => map.fit(), {title: "Everything in view"}));
    map.caption.after(tools);
    return {
        element: el("section", {class: "view catalogue"}, filterBar(store),
            el("div", {class: "pair"}, map.element,
                el("div", {class: "stack"}, azimuthField(store), sections.map((s) => s.element))),
            time.element, list(store, open)),
        redraw: () => all.forEach((figure) => figure.request()),
    };
}

/** @param {string} key */
const keyed = (key) => ({key, preventDefault() {}, stopPropagation() {}});
