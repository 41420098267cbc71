// The map of the catalogue: events, error ellipses, stations, grids, the lines of the sections.
import {colourBar} from "./axes.js";
import {tag} from "./figure.js";
import {fixed} from "./format.js";
import {GeoMap} from "./geo_map.js";
import {kmPerDegree, reach} from "./geodesy.js";
import {depthColour} from "./palette.js";
import {drawEvents, drawStation, pickEvents} from "./symbols.js";

/** Ellipses are drawn where so few events are in view that they can be told apart. */
const mostEllipses = 1500;

/**
 * @param {import("./store.js").Store} store @param {import("./symbols.js").Symbols} symbols
 * @param {import("./projection.js").Plane} plane
 * @param {import("./sections.js").SectionLine} line
 * @param {() => void} open
 */
export function eventMap(store, symbols, plane, line, open) {
    const {events, stations, grids} = store.data;
    const xy = new Float64Array(events.n * 2);
    for (let i = 0; i < events.n; ++i) xy.set(plane.at(events.lat[i], events.lon[i]), 2 * i);
    const stationXy = Array.from({length: stations.n}, (_, i) => plane.at(stations.lat[i], stations.lon[i]));
    const outlines = grids.map((grid) => plane.lines([Float32Array.from(grid.outline)]));
    const places = Array.from({length: events.n}, (_, i) => [events.lat[i], events.lon[i]]);
    for (let i = 0; i < stations.n; ++i) if (Number.isFinite(stations.lat[i])) places.push([stations.lat[i], stations.lon[i]]);

    const at = (/** @type {number} */ i) => {
        const {k, x, y} = map.transform;
        return [xy[2 * i] * k + x, xy[2 * i + 1] * k + y];
    };
    const map = new GeoMap("map", "Map", "Map of events by depth and number of picks, and of stations", plane, places,
        (_, ctx, colours) => {
            tag(ctx, "outline");
            for (const lines of outlines) map.strokeLines(ctx, lines, colours.faint, 1.2);
            tag(ctx, "section");
            for (const [a, b] of line.ends()) drawLine(ctx, map.pixel(a.lat, a.lon), map.pixel(b.lat, b.lon), colours.chosen);
            for (let i = 0; i < stations.n; ++i) {
                const [x, y] = map.transform.apply(stationXy[i]);
                if (Number.isFinite(x)) drawStation(ctx, x, y, stations.picks[i] > 0, colours);
            }
            drawEllipses(ctx, colours);
            drawEvents(ctx, store, symbols, at, [map.width, map.height], colours);
            const [low, high] = symbols.depths;
            if (events.n > 0) {
                colourBar(ctx, map.width - 136, map.height - 48, "depth", `${fixed(low, 0)}`, `${fixed(high, 0)} km`, depthColour, colours);
            }
        });

    /** @param {import("./figure.js").Context} ctx @param {import("./palette.js").Palette} colours */
    function drawEllipses(ctx, colours) {
        const inView = store.shown.filter((i) => {
            const [x, y] = at(i);
            return x > 0 && y > 0 && x < map.width && y < map.height;
        });
        const wanted = inView.length <= mostEllipses ? inView : store.selected >= 0 ? [store.selected] : [];
        tag(ctx, "ellipse");
        ctx.strokeStyle = colours.ink;
        ctx.lineWidth = 0.8;
        for (const i of wanted) ellipse(ctx, i);
        tag(ctx, "");
    }
    /** @param {import("./figure.js").Context} ctx @param {number} i */
    function ellipse(ctx, i) {
        const major = events.major[i], minor = events.minor[i];
        // Smaller than the dot it would not be seen.
        if (!(major > 0 && minor > 0) || major / map.kmPerPixel() < symbols.radius(i)) return;
        ctx.beginPath();
        for (let turn = 0; turn <= 360; turn += 10) {
            const a = major * Math.cos(turn * Math.PI / 180), b = minor * Math.sin(turn * Math.PI / 180);
            const azimuth = events.strike[i] + Math.atan2(b, a) * 180 / Math.PI;
            const point = reach(events.lat[i], events.lon[i], Math.hypot(a, b) / kmPerDegree, azimuth);
            const [x, y] = map.pixel(point.lat, point.lon);
            if (turn === 0) ctx.moveTo(x, y);
            else ctx.lineTo(x, y);
        }
        ctx.stroke();
    }
    pickEvents(map, store, at, open);
    return map;
}

/** @param {import("./figure.js").Context} ctx @param {number[]} a @param {number[]} b @param {string} colour */
export function drawLine(ctx, a, b, colour) {
    ctx.strokeStyle = colour;
    ctx.lineWidth = 1.2;
    ctx.setLineDash([7, 5]);
    ctx.beginPath();
    ctx.moveTo(a[0], a[1]);
    ctx.lineTo(b[0], b[1]);
    ctx.stroke();
    ctx.setLineDash([]);
}
