// The run behind the events: residuals of all of them, and what was refused and why.
import {axes, colourBar, inner, linear} from "./axes.js";
import {el} from "./dom.js";
import {picksOf} from "./event_figures.js";
import {Figure, tag} from "./figure.js";
import {counted, fixed, signed, utc} from "./format.js";
import {amountColour} from "./palette.js";
import {facts, table} from "./tables.js";

/** @typedef {import("./store.js").Store} Store */

/** Picks of the events that pass. @param {Store} store */
function* picksShown(store) {
    for (const i of store.shown) yield* picksOf(store.data, i);
}

/**
 * Number, mean, standard deviation and largest residual of each station's P and S picks.
 * @param {Store} store
 */
export function stationStatistics(store) {
    const {picks, stations} = store.data;
    /** @type {Map<number, {station: number, s: number, n: number, sum: number, squares: number, largest: number}>} */
    const all = new Map();
    for (const k of picksShown(store)) {
        const r = picks.residual[k];
        if (!Number.isFinite(r)) continue;
        const key = picks.station[k] * 2 + picks.s[k];
        let of = all.get(key);
        if (!of) all.set(key, of = {station: picks.station[k], s: picks.s[k], n: 0, sum: 0, squares: 0, largest: 0});
        ++of.n;
        of.sum += r;
        of.squares += r * r;
        if (Math.abs(r) > Math.abs(of.largest)) of.largest = r;
    }
    return [...all.values()].map((of) => {
        const mean = of.sum / of.n;
        return {name: stations.name[of.station], s: of.s, n: of.n, mean, largest: of.largest,
                deviation: Math.sqrt(Math.max(0, of.squares / of.n - mean * mean))};
    }).sort((a, b) => (a.name < b.name ? -1 : a.name > b.name ? 1 : a.s - b.s));
}

/** @param {Store} store @param {0 | 1} isS */
function density(store, isS) {
    const {picks} = store.data;
    const phase = isS ? "S" : "P";
    const cell = 3;  // pixels
    return new Figure(isS ? "residuals-s" : "residuals-p", `${phase} residuals against distance`,
        `How many ${phase} picks have which residual at which distance`, (ctx, width, height, colours) => {
            const own = [...picksShown(store)].filter((k) => picks.s[k] === isS && Number.isFinite(picks.residual[k]));
            let far = 0.01, most = 0.1;
            for (const k of own) {
                far = Math.max(far, picks.distance[k] || 0);
                most = Math.max(most, Math.abs(picks.residual[k]));
            }
            const box = inner(width, height);
            const x = linear([0, far * 1.03], box.left, box.right), y = linear([-most * 1.08, most * 1.08], box.bottom, box.top);
            axes(ctx, box, x, y, "distance, degrees", "residual, s", colours);
            const columns = Math.max(1, Math.ceil((box.right - box.left) / cell)), rows = Math.max(1, Math.ceil((box.bottom - box.top) / cell));
            const counts = new Uint32Array(columns * rows);
            let largest = 1;
            for (const k of own) {
                const at = Math.floor((y(picks.residual[k]) - box.top) / cell) * columns + Math.floor((x(picks.distance[k]) - box.left) / cell);
                largest = Math.max(largest, ++counts[at]);
            }
            // Few picks must stand out from the paper.
            const shade = (/** @type {number} */ t) => amountColour(colours.dark ? 0.35 + 0.65 * t : 0.85 * t);
            tag(ctx, "density");
            for (let at = 0; at < counts.length; ++at) {
                if (counts[at] === 0) continue;
                ctx.fillStyle = shade(Math.log(counts[at]) / Math.log(Math.max(2, largest)));
                ctx.fillRect(box.left + at % columns * cell, box.top + Math.floor(at / columns) * cell, cell, cell);
            }
            tag(ctx, "");
            if (own.length > 0) {
                colourBar(ctx, box.right - 132, box.top + 8, "picks", "1", String(largest), shade, colours);
            }
            ctx.fillStyle = colours.ink;
            ctx.textAlign = "left";
            ctx.textBaseline = "top";
            ctx.fillText(counted(own.length, `${phase} pick`), box.left + 8, box.top + 6);
        });
}

/** @param {Store} store */
function stationTable(store) {
    return table("stations", [
        {title: "Station", text: (r) => r.name, key: (r) => r.name},
        {title: "Phase", text: (r) => (r.s ? "S" : "P"), key: (r) => r.s},
        {title: "Picks", text: (r) => String(r.n), key: (r) => r.n},
        {title: "Mean residual, s", text: (r) => signed(r.mean, 3), key: (r) => r.mean},
        {title: "Standard deviation, s", text: (r) => fixed(r.deviation, 3), key: (r) => r.deviation},
        {title: "Largest, s", text: (r) => signed(r.largest, 3), key: (r) => Math.abs(r.largest)},
    ], stationStatistics(store));
}

/** @param {import("./data.js").Data} data */
function refusedTable(data) {
    const r = data.refused;
    if (r.n === 0) return el("p", {class: "note"}, "Nothing was refused, or the source does not tell.");
    return table("refused", [
        {title: "Time, UTC", text: (i) => utc(r.time[i], 1), key: (i) => r.time[i]},
        {title: "Why", words: true, text: (i) => data.texts[r.reason[i]], key: (i) => data.texts[r.reason[i]]},
        {title: "Latitude, °", text: (i) => fixed(r.lat[i], 3), key: (i) => r.lat[i]},
        {title: "Longitude, °", text: (i) => fixed(r.lon[i], 3), key: (i) => r.lon[i]},
        {title: "Depth, km", text: (i) => fixed(r.depth[i], 1), key: (i) => r.depth[i]},
        {title: "P", text: (i) => String(r.p[i]), key: (i) => r.p[i]},
        {title: "S", text: (i) => String(r.s[i]), key: (i) => r.s[i]},
        {title: "Score", text: (i) => fixed(r.score[i], 1), key: (i) => r.score[i]},
        {title: "Grid", text: (i) => data.texts[r.grid[i]], key: (i) => data.texts[r.grid[i]]},
    ], Array.from({length: r.n}, (_, i) => i).sort((a, b) => r.time[a] - r.time[b]));
}

/** @param {import("./data.js").Data} data */
function runFacts(data) {
    const {run} = data;
    const f = run.fates;
    /** @type {[string, string][]} */
    const pairs = [["read", run.sources.join(", ") || "–"], ["rules", run.rules || "–"], ["made by", data.madeBy]];
    if (f) {
        pairs.push(["picks read", run.picks_read.toLocaleString("en")], ["in events", f.in_events.toLocaleString("en")],
            ["in no event", f.in_no_event.toLocaleString("en")], ["of other phases", f.other_phases.toLocaleString("en")],
            ["at stations in no grid", f.unknown.toLocaleString("en")], ["repeated", f.duplicates.toLocaleString("en")],
            ["too late", f.late.toLocaleString("en")]);
    }
    return facts(pairs);
}

/** @param {string} name @param {string} title @param {string} what @param {[string, number][]} rows */
function countTable(name, title, what, rows) {
    if (rows.length === 0) return [];
    return [el("h3", {}, title), table(name, [
        {title: what, text: (r) => r[0], key: (r) => r[0]}, {title: "Number", text: (r) => String(r[1]), key: (r) => r[1]},
    ], rows)];
}

/** @param {Store} store */
export function runView(store) {
    const {data} = store;
    const figures = [density(store, 0), density(store, 1)];
    const stations = el("div");
    const element = el("section", {class: "view run"}, el("h2", {}, "The run"), runFacts(data),
        el("div", {class: "grid"}, figures.map((figure) => figure.element)),
        el("h3", {}, "Residuals by station"), stations,
        ...countTable("refusals", "Candidates that came to nothing", "Why", data.run.refusals),
        el("h3", {}, "Refused"), refusedTable(data),
        ...countTable("strangers", "Stations in no grid", "Station", data.run.strangers));
    let stale = true, visible = false;
    function fill() {
        if (!visible || !stale) return;
        stale = false;
        stations.replaceChildren(stationTable(store));
        for (const figure of figures) figure.request();
    }
    store.on((what) => {
        if (what !== "filter") return;
        stale = true;
        fill();
    });
    return {
        element,
        /** @param {boolean} now */
        setVisible(now) { visible = now; fill(); },
        redraw: () => figures.forEach((figure) => figure.request()),
    };
}
