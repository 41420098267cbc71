// Figures of one event.
import {axes, clipTo, colourBar, inner, linear, rangeOf} from "./axes.js";
import {curveTime} from "./data.js";
import {Figure, dot, tag, triangle} from "./figure.js";
import {fixed, signed} from "./format.js";
import {GeoMap} from "./geo_map.js";
import {residualColour} from "./palette.js";
import {drawStation} from "./symbols.js";

/** @typedef {import("./data.js").Data} Data */
/** @typedef {{event: number}} Shown the event that the figures show */

/** Numbers of an event's picks. @param {Data} data @param {number} i */
export function picksOf(data, i) {
    if (i < 0) return [];
    const from = data.events.firstPick[i];
    return Array.from({length: data.events.firstPick[i + 1] - from}, (_, k) => from + k);
}

/** @param {Data} data @param {number} i */
export const gridOf = (data, i) => data.grids.find((grid) => grid.name === data.texts[data.events.grid[i]]);

/** @param {any} ctx @param {number} x @param {number} y @param {boolean} isS @param {boolean} defining @param {any} colours */
function mark(ctx, x, y, isS, defining, colours) {
    tag(ctx, isS ? "pick s" : "pick p");
    const colour = isS ? colours.s : colours.p;
    if (isS) triangle(ctx, x, y, 4.5, true);
    else {
        ctx.beginPath();
        ctx.arc(x, y, 3.8, 0, 2 * Math.PI);
    }
    ctx.fillStyle = defining ? colour : colours.paper;
    ctx.fill();
    ctx.strokeStyle = colour;
    ctx.lineWidth = 1.2;
    ctx.stroke();
    tag(ctx, "");
}

/** @param {any} ctx @param {number} x @param {number} y @param {any} colours */
function key(ctx, x, y, colours) {
    ctx.textAlign = "left";
    ctx.textBaseline = "middle";
    [["P", false], ["S", true]].forEach(([name, isS], n) => {
        mark(ctx, x + n * 34, y, Boolean(isS), true, colours);
        ctx.fillStyle = colours.ink;
        ctx.fillText(name, x + n * 34 + 8, y);
    });
}

/** A word beside the nearest pick. @param {Figure} figure @param {Data} data @param {Shown} shown @param {(k: number) => number[]} at */
function tellPicks(figure, data, shown, at) {
    figure.canvas.addEventListener("pointermove", (/** @type {any} */ e) => {
        const [px, py] = figure.at(e);
        const near = picksOf(data, shown.event).map((k) => ({k, xy: at(k)}))
            .map(({k, xy}) => ({k, d: (xy[0] - px) ** 2 + (xy[1] - py) ** 2})).filter((n) => n.d < 150)
            .sort((a, b) => a.d - b.d)[0];
        const p = data.picks;
        figure.say(near ? `${data.stations.name[p.station[near.k]]} ${p.s[near.k] ? "S" : "P"}, ` +
            `${fixed(p.distance[near.k], 3)}°, residual ${signed(p.residual[near.k], 2)} s` : "", px, py);
    });
    figure.canvas.addEventListener("pointerleave", () => figure.say(""));
}

/** @param {Data} data @param {Shown} shown */
export function travelTimes(data, shown) {
    const {picks, events} = data;
    /** @type {(k: number) => number[]} */
    let at = () => [NaN, NaN];
    const figure = new Figure("travel-times", "Picks against distance", "Travel times of the picks over distance with the grid's P and S curves",
        (ctx, width, height, colours) => {
            const own = picksOf(data, shown.event);
            const box = inner(width, height);
            const far = Math.max(0.01, ...own.map((k) => picks.distance[k]).filter(Number.isFinite)) * 1.06;
            const x = linear([0, far], box.left, box.right);
            const y = linear([0, Math.max(1, ...own.map((k) => picks.travel[k])) * 1.08], box.bottom, box.top);
            at = (k) => [x(picks.distance[k]), y(picks.travel[k])];
            axes(ctx, box, x, y, "distance, degrees", "s after the origin", colours);
            clipTo(ctx, box);
            for (const phase of /** @type {["p", "s"]} */ (["p", "s"])) {
                drawCurve(ctx, gridOf(data, shown.event), phase, events.depth[shown.event], far, x, y, colours[phase]);
            }
            for (const k of own) mark(ctx, ...at(k), picks.s[k] > 0, picks.defining[k] > 0, colours);
            ctx.restore();
            key(ctx, box.left + 12, box.top + 12, colours);
        });
    tellPicks(figure, data, shown, (k) => at(k));
    return figure;
}

/** @param {any} ctx @param {any} grid @param {"p" | "s"} phase @param {number} depth @param {number} far @param {any} x @param {any} y @param {string} colour */
export function drawCurve(ctx, grid, phase, depth, far, x, y, colour) {
    tag(ctx, "curve " + phase);
    ctx.beginPath();
    let on = false;
    for (let n = 0; n <= 200; ++n) {
        const distance = far * n / 200, time = curveTime(grid, phase, distance, depth);
        if (!Number.isFinite(time)) continue;
        if (on) ctx.lineTo(x(distance), y(time));
        else ctx.moveTo(x(distance), y(time));
        on = true;
    }
    ctx.strokeStyle = colour;
    ctx.lineWidth = 1.3;
    if (on) ctx.stroke();
    tag(ctx, "");
}

/** @param {Data} data @param {Shown} shown */
export function residuals(data, shown) {
    const {picks} = data;
    /** @type {(k: number) => number[]} */
    let at = () => [NaN, NaN];
    const figure = new Figure("residuals", "Residuals", "Residuals of the picks over distance", (ctx, width, height, colours) => {
        const own = picksOf(data, shown.event);
        const box = inner(width, height);
        const far = Math.max(0.01, ...own.map((k) => picks.distance[k]).filter(Number.isFinite)) * 1.06;
        const most = Math.max(0.1, ...own.map((k) => Math.abs(picks.residual[k])).filter(Number.isFinite)) * 1.1;
        const x = linear([0, far], box.left, box.right), y = linear([-most, most], box.bottom, box.top);
        at = (k) => [x(picks.distance[k]), y(picks.residual[k])];
        axes(ctx, box, x, y, "distance, degrees", "residual, s", colours);
        ctx.strokeStyle = colours.faint;
        ctx.beginPath();
        ctx.moveTo(box.left, y(0));
        ctx.lineTo(box.right, y(0));
        ctx.stroke();
        for (const k of own) mark(ctx, ...at(k), picks.s[k] > 0, picks.defining[k] > 0, colours);
        key(ctx, box.left + 12, box.top + 12, colours);
    });
    tellPicks(figure, data, shown, (k) => at(k));
    return figure;
}

/** Residual of each station: the mean of its picks. @param {Data} data @param {number} i @returns {Map<number, number>} */
export function stationResiduals(data, i) {
    /** @type {Map<number, number[]>} */
    const all = new Map();
    for (const k of picksOf(data, i)) {
        const of = all.get(data.picks.station[k]) || [];
        of.push(data.picks.residual[k]);
        all.set(data.picks.station[k], of);
    }
    return new Map([...all].map(([station, of]) => [station, of.reduce((a, b) => a + b, 0) / of.length]));
}

/** @param {Data} data @param {Shown} shown @param {import("./projection.js").Plane} plane */
export function stationMap(data, shown, plane) {
    const {events, stations} = data;
    const map = new GeoMap("station-map", "Stations by residual", "Map of the event and its stations, coloured by residual", plane, [],
        (_, ctx, colours) => {
            const means = stationResiduals(data, shown.event);
            const most = Math.max(0.1, ...[...means.values()].map(Math.abs).filter(Number.isFinite));
            for (let i = 0; i < stations.n; ++i) {
                const [x, y] = map.pixel(stations.lat[i], stations.lon[i]);
                if (!Number.isFinite(x)) continue;
                const mean = means.get(i);
                drawStation(ctx, x, y, mean !== undefined, colours, mean === undefined ? undefined : residualColour(mean, most));
            }
            const [x, y] = map.pixel(events.lat[shown.event], events.lon[shown.event]);
            tag(ctx, "selected");
            dot(ctx, x, y, 5, colours.chosen, colours.outline);
            tag(ctx, "");
            colourBar(ctx, map.width - 136, map.height - 48, "residual", signed(-most, 1), signed(most, 1) + " s",
                      (t) => residualColour(2 * t - 1, 1), colours);
        });
    return map;
}

/** @param {Data} data @param {Shown} shown */
export function wheel(data, shown) {
    const {picks, events} = data;
    return new Figure("azimuths", "Azimuths", "Azimuths of the stations as seen from the event, and the largest gap", (ctx, width, height, colours) => {
        const r = Math.max(10, Math.min(width, height) / 2 - 24), cx = width / 2, cy = height / 2;
        const own = picksOf(data, shown.event).filter((k) => Number.isFinite(picks.azimuth[k]));
        const point = (/** @type {number} */ azimuth, /** @type {number} */ length) =>
            [cx + length * Math.sin(azimuth * Math.PI / 180), cy - length * Math.cos(azimuth * Math.PI / 180)];
        const gap = largestGap(own.map((k) => picks.azimuth[k]));
        if (gap) {
            tag(ctx, "gap");
            ctx.beginPath();
            ctx.moveTo(cx, cy);
            ctx.arc(cx, cy, r, (gap.from - 90) * Math.PI / 180, (gap.from + gap.width - 90) * Math.PI / 180);
            ctx.closePath();
            ctx.globalAlpha = 0.18;
            ctx.fillStyle = colours.chosen;
            ctx.fill();
            ctx.globalAlpha = 1;
        }
        tag(ctx, "");
        ctx.strokeStyle = colours.faint;
        ctx.lineWidth = 1;
        ctx.beginPath();
        ctx.arc(cx, cy, r, 0, 2 * Math.PI);
        ctx.stroke();
        ctx.fillStyle = colours.ink;
        ctx.textAlign = "center";
        ctx.textBaseline = "middle";
        ["N", "E", "S", "W"].forEach((name, n) => ctx.fillText(name, ...point(n * 90, r + 12)));
        const far = Math.max(...own.map((k) => picks.distance[k]), 1e-6);
        for (const k of own) {
            const [x, y] = point(picks.azimuth[k], r * (0.12 + 0.88 * picks.distance[k] / far));
            mark(ctx, x, y, picks.s[k] > 0, picks.defining[k] > 0, colours);
        }
        ctx.textAlign = "left";
        ctx.textBaseline = "top";
        ctx.fillStyle = colours.ink;
        ctx.fillText(`gap ${fixed(events.gap[shown.event], 0)}°`, 8, 8);
        ctx.textAlign = "right";
        ctx.fillText(`rim ${fixed(far, 2)}°`, width - 8, 8);
    });
}

/** The widest stretch of azimuths without any. @param {number[]} azimuths */
export function largestGap(azimuths) {
    const sorted = [...azimuths].sort((a, b) => a - b);
    let best = null;
    for (let i = 0; i < sorted.length; ++i) {
        const width = i + 1 < sorted.length ? sorted[i + 1] - sorted[i] : sorted[0] + 360 - sorted[i];
        if (!best || width > best.width) best = {from: sorted[i], width};
    }
    return best;
}
