// How events and stations look, the same in every figure.
import {depthColour, part} from "./palette.js";
import {rangeOf} from "./axes.js";
import {dot, tag, triangle} from "./figure.js";
import {utc, fixed, counted} from "./format.js";

/** @typedef {import("./store.js").Store} Store */
/** @typedef {import("./figure.js").Context} Context */

export class Symbols {
    /** @param {import("./data.js").Data} data */
    constructor(data) {
        this.events = data.events;
        this.depths = rangeOf(this.events.depth, 0);
    }
    /** Grows with the square root of the picks. @param {number} i */
    radius(i) { return Math.min(11, 1.8 + 0.5 * Math.sqrt(this.events.p[i] + this.events.s[i])); }
    /** @param {number} i */
    colour(i) { return depthColour(Math.round(part(this.events.depth[i], this.depths) * 40) / 40); }
}

/**
 * The events that pass, the chosen one on top.
 * @param {Context} ctx @param {Store} store @param {Symbols} symbols
 * @param {(i: number) => number[]} at pixels
 * @param {number[]} size of the figure
 * @param {import("./palette.js").Palette} colours
 */
export function drawEvents(ctx, store, symbols, at, [width, height], colours) {
    tag(ctx, "event");
    for (const i of store.shown) {
        const [x, y] = at(i);
        if (x > -12 && y > -12 && x < width + 12 && y < height + 12) {
            dot(ctx, x, y, symbols.radius(i), symbols.colour(i), colours.outline);
        }
    }
    for (const i of new Set([store.hovered, store.selected])) {
        if (i < 0) continue;
        const [x, y] = at(i);
        if (!Number.isFinite(x) || !Number.isFinite(y)) continue;
        tag(ctx, i === store.selected ? "selected" : "hovered");
        ctx.beginPath();
        ctx.arc(x, y, symbols.radius(i) + 3, 0, 2 * Math.PI);
        ctx.strokeStyle = colours.chosen;
        ctx.lineWidth = i === store.selected ? 3 : 1.5;
        ctx.stroke();
    }
    tag(ctx, "");
}

/**
 * @param {Context} ctx @param {number} x @param {number} y @param {boolean} hasPicks
 * @param {import("./palette.js").Palette} colours @param {string} [fill]
 */
export function drawStation(ctx, x, y, hasPicks, colours, fill) {
    tag(ctx, hasPicks ? "station" : "station idle");
    triangle(ctx, x, y, 5);
    ctx.fillStyle = hasPicks ? fill || colours.ink : colours.paper;
    ctx.fill();
    ctx.strokeStyle = hasPicks && fill ? colours.ink : colours.faint;
    ctx.lineWidth = 1;
    ctx.stroke();
    tag(ctx, "");
}

/** One line about an event. @param {import("./data.js").Data} data @param {number} i */
export function eventLine(data, i) {
    const e = data.events;
    return `${utc(e.time[i], 1)}, ${fixed(e.depth[i], 1)} km deep, ${counted(e.p[i] + e.s[i], "pick")}`;
}

/**
 * Choosing events with the pointer.
 * @param {import("./figure.js").Figure} figure @param {Store} store
 * @param {(i: number) => number[]} at pixels of an event
 * @param {() => void} [open] after a double click
 */
export function pickEvents(figure, store, at, open) {
    const nearest = (/** @type {any} */ pointer) => {
        const [px, py] = figure.at(pointer);
        let best = -1, least = 14 * 14;
        for (const i of store.shown) {
            const [x, y] = at(i);
            const d = (x - px) ** 2 + (y - py) ** 2;
            if (d < least) {
                least = d;
                best = i;
            }
        }
        return best;
    };
    figure.canvas.addEventListener("pointermove", (/** @type {any} */ pointer) => {
        if (pointer.buttons) return;
        const i = nearest(pointer);
        store.hover(i);
        const [x, y] = figure.at(pointer);
        figure.say(i < 0 ? "" : eventLine(store.data, i), x, y);
    });
    figure.canvas.addEventListener("pointerleave", () => {
        store.hover(-1);
        figure.say("");
    });
    figure.canvas.addEventListener("click", (/** @type {any} */ pointer) => {
        const i = nearest(pointer);
        if (i >= 0) store.select(i);
    });
    figure.canvas.addEventListener("dblclick", (/** @type {any} */ pointer) => {
        if (nearest(pointer) >= 0 && open) open();
    });
}
