// Grids: what they hold, their curves, and, where the page has the nodes, times from one to all.
import {axes, clipTo, colourBar, inner, linear} from "./axes.js";
import {choice, el, field} from "./dom.js";
import {drawCurve} from "./event_figures.js";
import {Figure, dot, tag} from "./figure.js";
import {counted, fixed} from "./format.js";
import {GeoMap} from "./geo_map.js";
import {path} from "./geodesy.js";
import {amountColour, depthColour, part} from "./palette.js";
import {Plane} from "./projection.js";
import {centre} from "./geodesy.js";
import {drawStation} from "./symbols.js";
import {rangeOf} from "./axes.js";
import {facts, table} from "./tables.js";

/** @typedef {import("./data.js").Data} Data */
/** @typedef {import("./data.js").Grid} Grid */

/** @param {Grid} grid */
function gridFacts(grid) {
    return facts([
        ["mesh", grid.regular ? `regular, ${grid.columns} × ${grid.rows} × ${grid.depths.length}` : "list of nodes"],
        ["nodes", grid.nodes.toLocaleString("en")], ["stations", String(grid.stations.length)],
        ["travel times", `${grid.method}, ${grid.model}`],
        ["depths, km", grid.regular ? [...grid.depths].map((d) => String(d)).join(" ") : "of each node"],
    ]);
}

/** @param {Grid} grid @param {string} name */
function curves(grid, name) {
    return new Figure("curves-" + name, "Travel times", "P and S times over distance, for the shallowest and the deepest nodes", (ctx, width, height, colours) => {
        const box = inner(width, height);
        let far = 0.01, late = 1;
        for (const c of grid.curves) {
            far = Math.max(far, c.distance[c.distance.length - 1] || 0);
            for (const t of c.s || c.p || []) late = Math.max(late, t);
        }
        const x = linear([0, far * 1.02], box.left, box.right), y = linear([0, late * 1.04], box.bottom, box.top);
        axes(ctx, box, x, y, "distance, degrees", "travel time, s", colours);
        clipTo(ctx, box);
        for (const c of grid.curves) {
            for (const phase of /** @type {["p", "s"]} */ (["p", "s"])) {
                drawCurve(ctx, {curves: [c]}, phase, c.depth, far, x, y, colours[phase]);
            }
        }
        ctx.restore();
        ctx.textAlign = "left";
        ctx.textBaseline = "top";
        ctx.fillStyle = colours.p;
        ctx.fillText("P", box.left + 10, box.top + 8);
        ctx.fillStyle = colours.s;
        ctx.fillText("S", box.left + 26, box.top + 8);
    });
}

/** What a reader looks at in a grid's table. */
class TableView {
    /** @param {Data} data @param {Grid} grid @param {string} name */
    constructor(data, grid, name) {
        this.data = data;
        this.grid = grid;
        this.table = /** @type {import("./data.js").Nodes} */ (grid.table);
        this.node = 0;
        this.station = -1;
        this.phase = /** @type {"p" | "s"} */ (this.table.p ? "p" : "s");
        this.depths = [...new Set(this.table.depth)].sort((a, b) => a - b);
        this.depth = grid.regular ? this.depths[0] : NaN;
        const t = this.table;
        const places = Array.from({length: t.n}, (_, i) => [t.lat[i], t.lon[i]]);
        this.plane = new Plane(centre(places));
        this.xy = places.map(([lat, lon]) => this.plane.at(lat, lon));
        this.depthRange = rangeOf(t.depth, 0);
        this.map = new GeoMap("nodes-" + name, "Nodes", "Map of the grid's nodes and stations", this.plane, places,
            (map, ctx, colours) => this.drawNodes(map, ctx, colours));
        this.map.element.classList.add("tall");
        this.map.canvas.addEventListener("click", (/** @type {any} */ e) => this.choose(e));
        this.plot = new Figure("times-" + name, "Times from the node to all stations", "Travel times from the chosen node over distance",
            (ctx, width, height, colours) => this.drawTimes(ctx, width, height, colours));
        this.rows = el("div");
        this.said = el("p", {class: "note"});
        this.change();
    }
    /** @param {number} node @param {number} k place among the grid's stations @param {"p" | "s"} phase */
    time(node, k, phase) {
        const times = this.table[phase];
        return times ? times[node * this.grid.stations.length + k] : NaN;
    }
    shown() {
        const out = [];
        for (let i = 0; i < this.table.n; ++i) {
            if (Number.isNaN(this.depth) || this.table.depth[i] === this.depth) out.push(i);
        }
        return out;
    }
    /** @param {any} event */
    choose(event) {
        const [px, py] = this.map.at(event);
        let best = -1, least = Infinity;
        for (const i of this.shown()) {
            const [x, y] = this.map.transform.apply(this.xy[i]);
            const d = (x - px) ** 2 + (y - py) ** 2;
            if (d < least) {
                least = d;
                best = i;
            }
        }
        if (best >= 0) this.node = best;
        this.change();
    }
    change() {
        const t = this.table, i = this.node;
        this.said.textContent = `Node ${t.number[i]}: ${fixed(t.lat[i], 4)}°, ${fixed(t.lon[i], 4)}°, ${fixed(t.depth[i], 1)} km. ` +
            (t.n < this.grid.nodes ? `The page holds ${t.n} of the ${this.grid.nodes} nodes.` : "");
        const {stations} = this.data;
        const rows = [...this.grid.stations].map((station, k) => ({
            name: stations.name[station], k, p: this.time(i, k, "p"), s: this.time(i, k, "s"),
            distance: path(t.lat[i], t.lon[i], stations.lat[station], stations.lon[station]).delta,
        })).sort((a, b) => a.distance - b.distance);
        this.rows.replaceChildren(table("times", [
            {title: "Station", text: (r) => r.name, key: (r) => r.name},
            {title: "Distance, °", text: (r) => fixed(r.distance, 4), key: (r) => r.distance},
            {title: "P, s", text: (r) => fixed(r.p, 3), key: (r) => r.p}, {title: "S, s", text: (r) => fixed(r.s, 3), key: (r) => r.s},
        ], rows));
        this.map.request();
        this.plot.request();
    }
    /** @param {GeoMap} map @param {any} ctx @param {import("./palette.js").Palette} colours */
    drawNodes(map, ctx, colours) {
        const nodes = this.shown(), {stations} = this.data, k = this.station;
        const times = k >= 0 ? nodes.map((i) => this.time(i, k, this.phase)) : [];
        const range = rangeOf(times, 0);
        const radius = Math.max(1.5, Math.min(7, 0.3 * Math.sqrt(map.width * map.height / Math.max(1, nodes.length))));
        tag(ctx, "node");
        nodes.forEach((i, n) => {
            const [x, y] = map.transform.apply(this.xy[i]);
            if (!(x > -9 && y > -9 && x < map.width + 9 && y < map.height + 9)) return;
            const shade = k >= 0 ? amountColour(Math.round(40 * part(times[n], range)) / 40)
                                 : depthColour(Math.round(40 * part(this.table.depth[i], this.depthRange)) / 40);
            dot(ctx, x, y, radius, shade, colours.outline);
        });
        this.grid.stations.forEach((station, at) => {
            const [x, y] = map.pixel(stations.lat[station], stations.lon[station]);
            if (Number.isFinite(x)) drawStation(ctx, x, y, true, colours, at === k ? colours.chosen : undefined);
        });
        const [x, y] = map.transform.apply(this.xy[this.node]);
        tag(ctx, "selected");
        ctx.beginPath();
        ctx.arc(x, y, radius + 3, 0, 2 * Math.PI);
        ctx.strokeStyle = colours.chosen;
        ctx.lineWidth = 3;
        ctx.stroke();
        tag(ctx, "");
        const colour = k >= 0 ? amountColour : depthColour, ends = k >= 0 ? range : this.depthRange;
        colourBar(ctx, map.width - 136, map.height - 48, k >= 0 ? `${this.phase.toUpperCase()} time` : "depth",
                  fixed(ends[0], k >= 0 ? 1 : 0), fixed(ends[1], k >= 0 ? 1 : 0) + (k >= 0 ? " s" : " km"), colour, colours);
    }
    /** @param {any} ctx @param {number} width @param {number} height @param {import("./palette.js").Palette} colours */
    drawTimes(ctx, width, height, colours) {
        const t = this.table, {stations} = this.data, box = inner(width, height);
        const points = [...this.grid.stations].map((station, k) => ({
            k, distance: path(t.lat[this.node], t.lon[this.node], stations.lat[station], stations.lon[station]).delta,
        }));
        const far = Math.max(0.01, ...points.map((p) => p.distance));
        const latest = Math.max(1, ...points.flatMap((p) => [this.time(this.node, p.k, "p"), this.time(this.node, p.k, "s")]).filter(Number.isFinite));
        const x = linear([0, far * 1.04], box.left, box.right), y = linear([0, latest * 1.06], box.bottom, box.top);
        axes(ctx, box, x, y, "distance, degrees", "travel time, s", colours);
        for (const phase of /** @type {["p", "s"]} */ (["p", "s"])) {
            drawCurve(ctx, this.grid, phase, t.depth[this.node], far, x, y, colours[phase]);
            tag(ctx, "time " + phase);
            for (const p of points) {
                const time = this.time(this.node, p.k, phase);
                if (Number.isFinite(time) && time >= 0) dot(ctx, x(p.distance), y(time), 3, colours[phase], colours.outline);
            }
        }
        tag(ctx, "");
    }
    element() {
        const redraw = () => this.map.request();
        const stations = choice([["-1", "none: nodes by depth"],
            ...[...this.grid.stations].map((s, k) => /** @type {[string, string]} */ ([String(k), this.data.stations.name[s]]))],
            (value) => { this.station = Number(value); redraw(); });
        stations.setAttribute("name", "station");
        const depths = choice(this.depths.map((d) => /** @type {[string, string]} */ ([String(d), `${d} km`])), (value) => {
            this.depth = Number(value);
            const at = this.shown().find((i) => this.table.lat[i] === this.table.lat[this.node] && this.table.lon[i] === this.table.lon[this.node]);
            if (at !== undefined) this.node = at;
            this.change();
        });
        depths.setAttribute("name", "depth");
        const phases = choice([["p", "P"], ["s", "S"]], (value) => { this.phase = value === "s" ? "s" : "p"; redraw(); });
        return el("div", {}, el("div", {class: "filter"}, this.grid.regular ? field("depth", depths) : "",
                                field("times to all nodes from station", stations), field("of", phases)),
            el("div", {class: "pair"}, this.map.element, el("div", {class: "stack"}, this.plot.element, this.said, this.rows)));
    }
}

/** @param {Data} data */
export function gridsView(data) {
    const views = data.grids.map((grid, n) => ({
        grid, curves: curves(grid, String(n)), table: grid.table && grid.table.n > 0 ? new TableView(data, grid, String(n)) : null,
    }));
    const element = el("section", {class: "view grids"}, views.map((v) => el("article", {},
        el("h2", {}, v.grid.name || "grid"), gridFacts(v.grid), v.table ? v.table.element() : "",
        el("div", {class: "grid"}, v.curves.element), el("p", {class: "note"},
            `Curves of ${counted(v.grid.curves.length, "depth")}, read from the tables.`))));
    return {
        element,
        redraw: () => views.forEach((v) => {
            v.curves.request();
            if (v.table) v.table.change();
        }),
    };
}
