// The page's document (docs/report.md) as typed arrays.

/**
 * @typedef {Object} Table typed columns of `n` rows
 * @property {number} n
 */
/**
 * @typedef {Object} Curve
 * @property {number} depth km
 * @property {Float64Array} distance degrees
 * @property {Float64Array | null} p seconds
 * @property {Float64Array | null} s seconds
 */
/**
 * @typedef {Object} Nodes
 * @property {number} n
 * @property {Int32Array} number
 * @property {Float64Array} lat
 * @property {Float64Array} lon
 * @property {Float64Array} depth
 * @property {Float32Array | null} p by node, then station
 * @property {Float32Array | null} s
 */
/**
 * @typedef {Object} Grid
 * @property {string} name
 * @property {string} model
 * @property {string} method
 * @property {boolean} regular
 * @property {number} nodes
 * @property {number} columns
 * @property {number} rows
 * @property {Float64Array} depths
 * @property {Int32Array} stations
 * @property {Float64Array} outline longitude, latitude, ...
 * @property {Curve[]} curves
 * @property {Nodes | null} table
 */

/** Whole units to numbers. @param {(number | null)[] | undefined} column @param {number} parts */
function numbers(column, parts) {
    const out = new Float64Array(column ? column.length : 0);
    for (let i = 0; column && i < column.length; ++i) {
        const value = column[i];
        out[i] = value === null ? NaN : value / parts;
    }
    return out;
}

/** @param {number[] | undefined} column */
const whole = (column) => Int32Array.from(column || []);

/** Where the picks of each event begin. @param {Int32Array} counts */
function starts(counts) {
    const out = new Int32Array(counts.length + 1);
    for (let i = 0; i < counts.length; ++i) out[i + 1] = out[i] + counts[i];
    return out;
}

/** @param {string} text base64 of little-endian floats */
function floats(text) {
    if (!text) return null;
    const bytes = atob(text);
    const out = new Uint8Array(bytes.length);
    for (let i = 0; i < bytes.length; ++i) out[i] = bytes.charCodeAt(i);
    return new Float32Array(out.buffer);
}

/** @param {any} t */
function eventsOf(t) {
    return {
        n: (t.time || []).length,
        id: whole(t.id), grid: whole(t.grid), model: whole(t.model),
        time: numbers(t.time, 1e4), lat: numbers(t.lat, 1e5), lon: numbers(t.lon, 1e5),
        depth: numbers(t.depth, 1e3), fixed_depth: whole(t.fixed_depth),
        p: whole(t.p), s: whole(t.s), defining: whole(t.defining), stations: whole(t.stations),
        scatter: numbers(t.scatter, 1e4), scatter_weighted: numbers(t.scatter_weighted, 1e4),
        gap: numbers(t.gap, 10), nearest: numbers(t.nearest, 1e4), farthest: numbers(t.farthest, 1e4),
        median: numbers(t.median, 1e4), score: numbers(t.score, 100), coverage: numbers(t.coverage, 1e3),
        on_edge: whole(t.on_edge), major: numbers(t.major, 1e3), minor: numbers(t.minor, 1e3),
        strike: numbers(t.strike, 10), depth_error: numbers(t.depth_error, 1e3),
        time_error: numbers(t.time_error, 1e3),
        firstPick: starts(whole(t.picks)), firstLeft: starts(whole(t.left)),
    };
}

/** @param {any} t */
function picksOf(t) {
    return {
        n: (t.station || []).length,
        station: whole(t.station), s: whole(t.s), travel: numbers(t.travel, 1e4),
        channel: whole(t.channel), label: whole(t.label), id: whole(t.id),
        residual: numbers(t.residual, 1e4), distance: numbers(t.distance, 1e4),
        azimuth: numbers(t.azimuth, 1e2), back_azimuth: numbers(t.back_azimuth, 1e2),
        weight: numbers(t.weight, 1e3), defining: whole(t.defining),
        limit: numbers(t.limit, 1e4), why: whole(t.why), reason: whole(t.reason),
    };
}

/** @param {any} t */
function refusedOf(t) {
    return {
        n: (t.time || []).length,
        time: numbers(t.time, 1e4), lat: numbers(t.lat, 1e5), lon: numbers(t.lon, 1e5),
        depth: numbers(t.depth, 1e3), score: numbers(t.score, 100), p: whole(t.p), s: whole(t.s),
        stations: whole(t.stations), grid: whole(t.grid), why: whole(t.why), reason: whole(t.reason),
    };
}

/** @param {any} c @returns {Curve} */
function curveOf(c) {
    return {
        depth: c.depth / 1e3, distance: numbers(c.distance, 1e4),
        p: c.p ? numbers(c.p, 1e3) : null, s: c.s ? numbers(c.s, 1e3) : null,
    };
}

/** @param {any} t @returns {Nodes} */
function nodesOf(t) {
    return {
        n: t.number.length, number: whole(t.number), lat: numbers(t.lat, 1e5), lon: numbers(t.lon, 1e5),
        depth: numbers(t.depth, 1e3), p: floats(t.p), s: floats(t.s),
    };
}

/** @param {any} g @returns {Grid} */
function gridOf(g) {
    return {
        name: g.name, model: g.model, method: g.method, regular: g.regular, nodes: g.nodes,
        columns: g.columns, rows: g.rows, depths: numbers(g.depths, 1e3), stations: whole(g.stations),
        outline: numbers(g.outline, 1e5), curves: g.curves.map(curveOf),
        table: g.table ? nodesOf(g.table) : null,
    };
}

/** @param {any} document_ the parsed document */
export function readDocument(document_) {
    if (document_.format !== "velorix-page" || document_.version !== 1) {
        throw new Error("The data of this page are not a document that it knows.");
    }
    const places = document_.stations;
    const stations = {
        n: places.name.length, name: /** @type {string[]} */ (places.name),
        lat: numbers(places.lat, 1e5), lon: numbers(places.lon, 1e5),
        elevation: numbers(places.elevation, 1e3), picks: new Int32Array(places.name.length),
    };
    const picks = picksOf(document_.picks);
    for (let i = 0; i < picks.n; ++i) ++stations.picks[picks.station[i]];
    return {
        title: /** @type {string} */ (document_.title), madeBy: /** @type {string} */ (document_.made_by),
        run: document_.run, texts: /** @type {string[]} */ (document_.texts),
        grids: /** @type {Grid[]} */ (document_.grids.map(gridOf)),
        stations, events: eventsOf(document_.events), picks, left: picksOf(document_.left),
        refused: refusedOf(document_.refused),
    };
}
/** @typedef {ReturnType<typeof readDocument>} Data */
/** @typedef {Data["events"]} Events */
/** @typedef {Data["picks"]} Picks */

/**
 * The document: in the page (a report), or where the page says that it is served.
 * @returns {Promise<Data>}
 */
export async function load() {
    const holder = /** @type {HTMLElement} */ (document.getElementById("velorix-data"));
    const from = holder.dataset.from;
    const json = from ? await (await fetch(from)).json() : JSON.parse(holder.textContent || "");
    holder.textContent = "";  // megabytes that nobody reads again
    return readDocument(json);
}

/**
 * A grid's time at a distance and a depth: between the curves of the depths around it.
 * @param {Grid | undefined} grid @param {"p" | "s"} phase
 * @param {number} distance degrees @param {number} depth km
 * @returns {number} seconds; NaN beyond the curves
 */
export function curveTime(grid, phase, distance, depth) {
    const curves = grid ? grid.curves.filter((c) => c[phase] && c.distance.length > 1) : [];
    if (curves.length === 0) return NaN;
    let high = curves.findIndex((c) => c.depth >= depth);
    if (high < 0) high = curves.length - 1;
    const low = Math.max(0, high - (curves[high].depth > depth ? 1 : 0));
    const above = along(curves[low], phase, distance);
    if (low === high) return above;
    const part = (depth - curves[low].depth) / (curves[high].depth - curves[low].depth);
    return above + (along(curves[high], phase, distance) - above) * part;
}

/** @param {Curve} curve @param {"p" | "s"} phase @param {number} distance */
function along(curve, phase, distance) {
    const x = curve.distance;
    const y = /** @type {Float64Array} */ (curve[phase]);
    if (!(distance >= x[0] && distance <= x[x.length - 1])) return NaN;
    let i = 1;
    while (i < x.length - 1 && x[i] < distance) ++i;
    return y[i - 1] + (y[i] - y[i - 1]) * (distance - x[i - 1]) / (x[i] - x[i - 1]);
}
