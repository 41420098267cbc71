// Depth sections along an azimuth and across it.
import {axes, clipTo, inner, linear, rangeOf} from "./axes.js";
import {Figure, tag} from "./figure.js";
import {centre, kmPerDegree, path, reach} from "./geodesy.js";
import {drawEvents, pickEvents} from "./symbols.js";

/** @typedef {import("./store.js").Store} Store */

/** Where the sections run: through the middle of all events. */
export class SectionLine {
    /** @param {Store} store */
    constructor(store) {
        this.store = store;
        const e = store.data.events;
        this.centre = centre(Array.from({length: e.n}, (_, i) => [e.lat[i], e.lon[i]]));
        this.delta = new Float64Array(e.n);
        this.azimuth = new Float64Array(e.n);
        for (let i = 0; i < e.n; ++i) {
            const to = path(this.centre.lat, this.centre.lon, e.lat[i], e.lon[i]);
            this.delta[i] = to.delta * kmPerDegree;
            this.azimuth[i] = to.azimuth;
        }
        this.length = Math.max(1, this.centre.reach * kmPerDegree);
    }
    /** km along the section. @param {number} i @param {number} turn 0, or 90: across */
    along(i, turn) {
        return this.delta[i] * Math.cos((this.azimuth[i] - this.store.azimuth - turn) * Math.PI / 180);
    }
    ends() {
        const {lat, lon} = this.centre;
        if (this.store.data.events.n === 0 || this.centre.reach > 90) return [];
        const delta = this.length * 1.05 / kmPerDegree;
        return [0, 90].map((turn) => {
            const azimuth = this.store.azimuth + turn;
            return [reach(lat, lon, delta, azimuth + 180), reach(lat, lon, delta, azimuth)];
        });
    }
}

/**
 * @param {Store} store @param {import("./symbols.js").Symbols} symbols @param {SectionLine} line
 * @param {number} turn 0 or 90 @param {() => void} open
 */
export function section(store, symbols, line, turn, open) {
    const {events} = store.data;
    const name = turn ? "section-across" : "section-along";
    /** @type {(i: number) => number[]} */
    let at = () => [NaN, NaN];
    const figure = new Figure(name, "Section", "Depth section of the events", (ctx, width, height, colours) => {
        const box = inner(width, height);
        const depths = rangeOf(events.depth, 0.06);
        const x = linear([-line.length * 1.05, line.length * 1.05], box.left, box.right);
        const y = linear([Math.min(0, depths[0]), depths[1]], box.top, box.bottom);
        at = (i) => [x(line.along(i, turn)), y(events.depth[i])];
        const azimuth = (store.azimuth + turn) % 360;
        axes(ctx, box, x, y, `km towards ${azimuth}°`, "depth, km", colours);
        clipTo(ctx, box);
        const i = store.selected;
        if (i >= 0 && events.depth_error[i] > 0) {
            tag(ctx, "error");
            const [px] = at(i);
            ctx.strokeStyle = colours.chosen;
            ctx.lineWidth = 1.5;
            ctx.beginPath();
            ctx.moveTo(px, y(events.depth[i] - events.depth_error[i]));
            ctx.lineTo(px, y(events.depth[i] + events.depth_error[i]));
            ctx.stroke();
        }
        drawEvents(ctx, store, symbols, at, [width, height], colours);
        ctx.restore();
    });
    pickEvents(figure, store, (i) => at(i), open);
    return figure;
}
