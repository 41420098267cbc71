// One event: facts, figures, tables of its picks, files of it.
import {el, button, download} from "./dom.js";
import {residuals, picksOf, stationMap, stationResiduals, travelTimes, wheel} from "./event_figures.js";
import {csvOf, quakeMlOf} from "./export.js";
import {fixed, iso, signed, utc} from "./format.js";
import {facts, table} from "./tables.js";

/** @typedef {import("./data.js").Data} Data */

/** @param {Data} data @param {number} i */
function factsOf(data, i) {
    const e = data.events;
    return facts([
        ["origin time, UTC", `${utc(e.time[i], 2)} ± ${fixed(e.time_error[i], 2)} s`],
        ["latitude, longitude", `${fixed(e.lat[i], 4)}°, ${fixed(e.lon[i], 4)}°`],
        ["depth", e.fixed_depth[i] ? `${fixed(e.depth[i], 1)} km, fixed` : `${fixed(e.depth[i], 1)} ± ${fixed(e.depth_error[i], 1)} km`],
        ["error ellipse", `${fixed(e.major[i], 2)} × ${fixed(e.minor[i], 2)} km, ${fixed(e.strike[i], 0)}°`],
        ["picks", `${e.p[i]} P, ${e.s[i]} S at ${e.stations[i]} stations; ${e.defining[i]} in the location`],
        ["scatter", `${fixed(e.scatter[i], 3)} s, by weight ${fixed(e.scatter_weighted[i], 3)} s`],
        ["gap", `${fixed(e.gap[i], 0)}°`],
        ["distances", `${fixed(e.nearest[i], 3)} to ${fixed(e.farthest[i], 3)}°, median ${fixed(e.median[i], 3)}°`],
        ["score, coverage", `${fixed(e.score[i], 2)}, ${fixed(e.coverage[i] * 100, 0)} %`],
        ["grid, model", `${data.texts[e.grid[i]] || "–"}, ${data.texts[e.model[i]] || "–"}${e.on_edge[i] ? "; on the edge of the grid" : ""}`],
    ]);
}

/** @param {Data} data @param {number} i */
function pickTable(data, i) {
    const p = data.picks, e = data.events;
    return table("picks", [
        {title: "Station", text: (k) => data.stations.name[p.station[k]], key: (k) => data.stations.name[p.station[k]]},
        {title: "Channel", text: (k) => data.texts[p.channel[k]]},
        {title: "Phase", text: (k) => (p.s[k] ? "S" : "P"), key: (k) => p.s[k]},
        {title: "Label", text: (k) => data.texts[p.label[k]]},
        {title: "Time, UTC", text: (k) => utc(e.time[i] + p.travel[k], 2), key: (k) => p.travel[k]},
        {title: "Residual, s", text: (k) => signed(p.residual[k], 3), key: (k) => p.residual[k]},
        {title: "Distance, °", text: (k) => fixed(p.distance[k], 4), key: (k) => p.distance[k]},
        {title: "Azimuth, °", text: (k) => fixed(p.azimuth[k], 1), key: (k) => p.azimuth[k]},
        {title: "Weight", text: (k) => fixed(p.weight[k], 2), key: (k) => p.weight[k]},
        {title: "In location", text: (k) => (p.defining[k] ? "yes" : "no"), key: (k) => p.defining[k]},
    ], picksOf(data, i), (k) => ({"data-pick": k}));
}

/** @param {Data} data @param {number} i */
function leftTable(data, i) {
    const l = data.left, from = data.events.firstLeft[i];
    const rows = Array.from({length: data.events.firstLeft[i + 1] - from}, (_, k) => from + k);
    if (rows.length === 0) return el("p", {class: "note"}, "No pick near its predicted times was left out.");
    return table("left-out", [
        {title: "Station", text: (k) => data.stations.name[l.station[k]], key: (k) => data.stations.name[l.station[k]]},
        {title: "Channel", text: (k) => data.texts[l.channel[k]]},
        {title: "As", text: (k) => (l.s[k] ? "S" : "P"), key: (k) => l.s[k]},
        {title: "Label", text: (k) => data.texts[l.label[k]]},
        {title: "Time, UTC", text: (k) => utc(data.events.time[i] + l.travel[k], 2), key: (k) => l.travel[k]},
        {title: "Residual, s", text: (k) => signed(l.residual[k], 3), key: (k) => l.residual[k]},
        {title: "Why not", words: true, text: (k) => data.texts[l.reason[k]], key: (k) => data.texts[l.reason[k]]},
    ], rows);
}

/**
 * @param {import("./store.js").Store} store @param {import("./projection.js").Plane} plane
 */
export function eventView(store, plane) {
    const data = store.data;
    const shown = {event: -1};
    const map = stationMap(data, shown, plane);
    const figures = [travelTimes(data, shown), residuals(data, shown), map, wheel(data, shown)];
    const title = el("h2", {}), text = el("div"), tables = el("div");
    const name = () => data.texts[data.events.id[shown.event]] || iso(data.events.time[shown.event], 2);
    const file = () => name().replace(/[^A-Za-z0-9._-]/g, "_");
    const bar = el("div", {class: "filter"},
        button("← Previous", () => store.move(-1)), button("Next →", () => store.move(1)),
        button("QuakeML", () => download(file() + ".xml", new Blob([quakeMlOf(data, shown.event)], {type: "application/xml"})),
               {title: "Save the event as QuakeML 1.2"}),
        button("CSV", () => download(file() + ".csv", new Blob([csvOf(data, shown.event)], {type: "text/csv"})),
               {title: "Save the event's picks as CSV"}));
    const content = el("div", {}, title, bar, text,
        el("div", {class: "grid"}, figures.map((figure) => figure.element)), tables);
    const none = el("p", {class: "note"}, "No event is chosen. Choose one on the map, in a figure or in the list of the catalogue; J and K go through the list.");
    const element = el("section", {class: "view event"}, none, content);

    function places() {
        const e = data.events, i = shown.event;
        const out = [[e.lat[i], e.lon[i]]];
        for (const station of stationResiduals(data, i).keys()) {
            if (Number.isFinite(data.stations.lat[station])) out.push([data.stations.lat[station], data.stations.lon[station]]);
        }
        return out;
    }
    function fill() {
        const chosen = store.selected >= 0;
        none.hidden = chosen;
        content.hidden = !chosen;
        if (!chosen || shown.event === store.selected) return;
        shown.event = store.selected;
        title.textContent = name();
        text.replaceChildren(factsOf(data, shown.event));
        tables.replaceChildren(el("h3", {}, "Picks"), pickTable(data, shown.event), el("h3", {}, "Left out"), leftTable(data, shown.event));
        map.setPlaces(places());
        if (map.width) map.fit();
        map.moved = false;
        for (const figure of figures) figure.request();
    }
    let visible = false;
    store.on((what) => { if (what === "selected" && visible) fill(); });
    fill();
    return {
        element,
        /** @param {boolean} now */
        setVisible(now) {
            visible = now;
            if (now) fill();
        },
        redraw: () => figures.forEach((figure) => figure.request()),
    };
}
