// Events over time, and their number so far; a stretch of time is chosen by dragging over it.
import {axes, clipTo, inner, linear, rangeOf, utcScale} from "./axes.js";
import {Figure, tag} from "./figure.js";
import {drawEvents, pickEvents} from "./symbols.js";

/** @param {import("./store.js").Store} store @param {import("./symbols.js").Symbols} symbols @param {() => void} open */
export function timeline(store, symbols, open) {
    const {events} = store.data;
    const counts = Array.from({length: events.n}, (_, i) => events.p[i] + events.s[i]);
    const inOrder = Array.from({length: events.n}, (_, i) => i).sort((a, b) => events.time[a] - events.time[b]);
    /** @type {(i: number) => number[]} */
    let at = () => [NaN, NaN];
    /** @type {any} */
    let x = null;
    /** @type {number[] | null} */
    let drag = null;
    const figure = new Figure("time", "Time", "Events over time by number of picks, and their number so far",
        (ctx, width, height, colours) => {
            const box = inner(width, height, {right: 46});
            x = utcScale(rangeOf(events.time, 0.02), box.left, box.right);
            const y = linear([0, rangeOf(counts)[1] * 1.05], box.bottom, box.top);
            axes(ctx, box, x, y, "UTC", "picks", colours);
            at = (i) => [x(events.time[i]), y(counts[i])];
            clipTo(ctx, box);
            drawSum(ctx, box, colours);
            drawSpan(ctx, box, colours);
            drawEvents(ctx, store, symbols, at, [width, height], colours);
            ctx.restore();
            ctx.fillStyle = colours.faint;
            ctx.textAlign = "left";
            ctx.textBaseline = "top";
            ctx.fillText(String(store.shown.length), box.right + 5, box.top);
        });

    /** @param {any} ctx @param {any} box @param {any} colours */
    function drawSum(ctx, box, colours) {
        const passing = inOrder.filter((i) => store.passes(i));
        const y = linear([0, Math.max(1, passing.length)], box.bottom, box.top);
        tag(ctx, "sum");
        ctx.strokeStyle = colours.faint;
        ctx.lineWidth = 1.2;
        ctx.beginPath();
        ctx.moveTo(box.left, box.bottom);
        passing.forEach((i, n) => {
            ctx.lineTo(x(events.time[i]), y(n));
            ctx.lineTo(x(events.time[i]), y(n + 1));
        });
        ctx.lineTo(box.right, box.top);
        ctx.stroke();
    }
    /** @param {any} ctx @param {any} box @param {any} colours */
    function drawSpan(ctx, box, colours) {
        const {from, to} = store.filter;
        const span = drag || (from > -Infinity || to < Infinity ? [from, to] : null);
        if (!span) return;
        const left = Math.max(box.left, x(Math.min(...span))), right = Math.min(box.right, x(Math.max(...span)));
        tag(ctx, "span");
        ctx.globalAlpha = 0.15;
        ctx.fillStyle = colours.chosen;
        ctx.fillRect(Number.isFinite(left) ? left : box.left, box.top,
                     (Number.isFinite(right) ? right : box.right) - (Number.isFinite(left) ? left : box.left), box.bottom - box.top);
        ctx.globalAlpha = 1;
    }
    const canvas = figure.canvas;
    canvas.addEventListener("pointerdown", (/** @type {any} */ e) => {
        if (!x) return;
        drag = [x.invert(figure.at(e)[0]), x.invert(figure.at(e)[0])];
        canvas.setPointerCapture(e.pointerId);
    });
    canvas.addEventListener("pointermove", (/** @type {any} */ e) => {
        if (!drag) return;
        drag[1] = x.invert(figure.at(e)[0]);
        figure.request();
    });
    canvas.addEventListener("pointerup", (/** @type {any} */ e) => {
        if (!drag) return;
        const [a, b] = drag;
        drag = null;
        if (Math.abs(x(a) - x(b)) > 4) store.setFilter({from: Math.min(a, b), to: Math.max(a, b)});
        else figure.request();
    });
    pickEvents(figure, store, (i) => at(i), open);
    return figure;
}
