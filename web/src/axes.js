// Axes of a figure.
import {scaleLinear, scaleUtc} from "d3-scale";
import {tag} from "./figure.js";

/** @typedef {import("./figure.js").Context} Context */
/** @typedef {{left: number, top: number, right: number, bottom: number}} Box edges in pixels */

/** @param {number} width @param {number} height @param {Partial<Box>} [margin] @returns {Box} */
export function inner(width, height, margin = {}) {
    const m = {left: 52, top: 10, right: 14, bottom: 36, ...margin};
    return {left: m.left, top: m.top, right: width - m.right, bottom: height - m.bottom};
}

/** @param {number[]} domain @param {number} from @param {number} to @returns {any} */
export function linear([low, high], from, to) {
    const width = high > low ? high - low : 1;
    return scaleLinear().domain(high > low ? [low, high] : [low - width / 2, low + width / 2]).range([from, to]);
}

/** A scale of times in seconds. @param {number[]} domain @param {number} from @param {number} to @returns {any} */
export function utcScale([low, high], from, to) {
    const wide = high > low ? [low, high] : [low - 60, high + 60];
    const scale = scaleUtc().domain(wide.map((t) => new Date(t * 1000))).range([from, to]);
    const at = (/** @type {number} */ t) => scale(new Date(t * 1000));
    return Object.assign(at, {
        ticks: (/** @type {number} */ n) => scale.ticks(n).map((t) => t.getTime() / 1000),
        // As much as tells the ticks apart, on a clock of 24 hours.
        tickFormat: (/** @type {number} */ n) => {
            const ticks = scale.ticks(n);
            const step = ticks.length > 1 ? ticks[1] - ticks[0] : 1000;
            return (/** @type {number} */ t) => {
                const text = new Date(t * 1000).toISOString();
                if (step >= 86400000 * 27) return text.slice(0, 7);
                if (step >= 86400000 || text.slice(11, 19) === "00:00:00") return text.slice(0, 10);
                return text.slice(11, step < 1000 ? 22 : step < 60000 ? 19 : 16);
            };
        },
        invert: (/** @type {number} */ x) => scale.invert(x).getTime() / 1000,
        domain: () => wide,
    });
}

/** The range of values, a little wider; what is not a number is passed over. @param {Iterable<number>} values @param {number} [more] */
export function rangeOf(values, more = 0.04) {
    let low = Infinity, high = -Infinity;
    for (const v of values) {
        if (v < low) low = v;
        if (v > high) high = v;
    }
    if (!(low <= high)) return [0, 1];
    const extra = (high - low) * more;
    return [low - extra, high + extra];
}

/**
 * Both axes with lines across the figure.
 * @param {Context} ctx @param {Box} box @param {any} x @param {any} y
 * @param {string} xTitle @param {string} yTitle @param {import("./palette.js").Palette} colours
 */
export function axes(ctx, box, x, y, xTitle, yTitle, colours) {
    tag(ctx, "axis");
    const columns = Math.max(2, Math.floor((box.right - box.left) / 90));
    const rows = Math.max(2, Math.floor((box.bottom - box.top) / 40));
    ctx.strokeStyle = colours.line;
    ctx.lineWidth = 1;
    ctx.fillStyle = colours.faint;
    ctx.textAlign = "center";
    ctx.textBaseline = "top";
    const xText = x.tickFormat(columns), yText = y.tickFormat(rows);
    ctx.beginPath();
    for (const value of x.ticks(columns)) {
        const at = Math.round(x(value)) + 0.5;
        ctx.moveTo(at, box.top);
        ctx.lineTo(at, box.bottom);
    }
    for (const value of y.ticks(rows)) {
        const at = Math.round(y(value)) + 0.5;
        ctx.moveTo(box.left, at);
        ctx.lineTo(box.right, at);
    }
    ctx.stroke();
    let taken = -Infinity;  // up to here, by the labels so far: a date is wider than its minutes
    for (const value of x.ticks(columns)) {
        const half = ctx.measureText(xText(value)).width / 2;
        if (x(value) - half < taken) continue;
        ctx.fillText(xText(value), x(value), box.bottom + 5);
        taken = x(value) + half + 6;
    }
    ctx.textAlign = "right";
    ctx.textBaseline = "middle";
    for (const value of y.ticks(rows)) ctx.fillText(yText(value), box.left - 6, y(value));
    ctx.fillStyle = colours.ink;
    ctx.textAlign = "center";
    ctx.textBaseline = "bottom";
    ctx.fillText(xTitle, (box.left + box.right) / 2, box.bottom + 35);
    ctx.save();
    ctx.translate(13, (box.top + box.bottom) / 2);
    ctx.rotate(-Math.PI / 2);
    ctx.textBaseline = "middle";
    ctx.fillText(yTitle, 0, 0);
    ctx.restore();
    ctx.strokeStyle = colours.faint;
    ctx.strokeRect(box.left + 0.5, box.top + 0.5, box.right - box.left, box.bottom - box.top);
    tag(ctx, "");
}

/**
 * A bar of colours with its ends and its name, in a corner.
 * @param {Context} ctx @param {number} x @param {number} y top left
 * @param {string} title @param {string} low @param {string} high
 * @param {(t: number) => string} colour @param {import("./palette.js").Palette} colours
 */
export function colourBar(ctx, x, y, title, low, high, colour, colours) {
    const width = 120;
    tag(ctx, "legend");
    ctx.globalAlpha = 0.85;
    ctx.fillStyle = colours.paper;
    ctx.fillRect(x - 6, y - 4, width + 12, 42);
    ctx.globalAlpha = 1;
    for (let i = 0; i < 24; ++i) {
        ctx.fillStyle = colour((i + 0.5) / 24);
        ctx.fillRect(x + i * width / 24, y + 14, width / 24 + 0.5, 7);
    }
    ctx.fillStyle = colours.ink;
    ctx.textBaseline = "top";
    ctx.textAlign = "left";
    ctx.fillText(title, x, y - 1);
    ctx.fillText(low, x, y + 23);
    ctx.textAlign = "right";
    ctx.fillText(high, x + width, y + 23);
    tag(ctx, "");
}

/** Cuts what follows to the box, until ctx.restore(). @param {Context} ctx @param {Box} box */
export function clipTo(ctx, box) {
    ctx.save();
    ctx.beginPath();
    ctx.rect(box.left, box.top, box.right - box.left, box.bottom - box.top);
    ctx.clip();
}
