// A map that can be moved and zoomed: coastlines, borders, a scale bar, and what its owner draws.
import {event as d3Event, select} from "d3-selection";
import {zoom, zoomIdentity} from "d3-zoom";
import {Figure, tag} from "./figure.js";
import {kmPerDegree} from "./geodesy.js";
import {radian} from "./projection.js";

/** @typedef {import("./figure.js").Context} Context */
/** @typedef {import("./projection.js").Plane} Plane */

/** @type {WeakMap<Plane, import("./projection.js").Line[][]>} */
const coasts = new WeakMap();
/** @param {Plane} plane */
function coastOf(plane) {
    const known = coasts.get(plane) || plane.coast();
    coasts.set(plane, known);
    return known;
}

export class GeoMap extends Figure {
    /**
     * @param {string} name @param {string} title @param {string} description
     * @param {Plane} plane
     * @param {number[][]} places latitude and longitude of what the map shows at first
     * @param {(map: GeoMap, ctx: Context, colours: import("./palette.js").Palette) => void} layers
     */
    constructor(name, title, description, plane, places, layers) {
        super(name, title, description, (ctx, width, height, colours) => this.drawMap(ctx, width, height, colours));
        this.plane = plane;
        this.layers = layers;
        this.setPlaces(places);
        this.transform = zoomIdentity;
        // In version 5, d3's event stands in a variable.
        this.zoom = zoom().on("zoom", () => {
            this.transform = d3Event.transform;
            this.moved = true;
            this.request();
        });
        this.zoom.filter(() => !d3Event.button && d3Event.type !== "dblclick");
        this.moved = false;
        select(this.canvas).call(this.zoom);
        this.canvas.tabIndex = 0;
        this.canvas.addEventListener("keydown", (/** @type {any} */ e) => this.key(e));
    }
    /** @param {number[][]} places */
    setPlaces(places) {
        this.box = [Infinity, Infinity, -Infinity, -Infinity];
        for (const [lat, lon] of places) {
            const [x, y] = this.plane.at(lat, lon);
            if (!Number.isFinite(x)) continue;
            this.box = [Math.min(this.box[0], x), Math.min(this.box[1], y), Math.max(this.box[2], x), Math.max(this.box[3], y)];
        }
        if (!(this.box[0] <= this.box[2])) this.box = [-radian, -radian, radian, radian];
    }
    onresize() { if (!this.moved) this.fit(); }
    /** Everything in view. */
    fit() {
        const [x0, y0, x1, y1] = this.box;
        const least = 2 / 6371 * radian;  // not closer than 2 km
        const k = 0.9 * Math.min(this.width / Math.max(least, x1 - x0), this.height / Math.max(least, y1 - y0));
        this.zoom.scaleExtent([Math.min(k, this.width / (2.5 * Math.PI * radian)) * 0.9, Math.max(k * 40, 20)]);
        this.look((x0 + x1) / 2, (y0 + y1) / 2, k);
        this.moved = false;
    }
    /** @param {number} x @param {number} y in the plane @param {number} k pixels a unit */
    look(x, y, k) {
        select(this.canvas).call(this.zoom.transform,
            zoomIdentity.translate(this.width / 2 - x * k, this.height / 2 - y * k).scale(k));
    }
    /** Moves a place into view if it is not there. @param {number} lat @param {number} lon */
    show(lat, lon) {
        const [x, y] = this.pixel(lat, lon);
        if (x > 20 && y > 20 && x < this.width - 20 && y < this.height - 20) return;
        const at = this.plane.at(lat, lon);
        if (Number.isFinite(at[0]) && this.width) this.look(at[0], at[1], this.transform.k);
    }
    /** @param {number} lat @param {number} lon @returns {number[]} */
    pixel(lat, lon) { return this.transform.apply(this.plane.at(lat, lon)); }
    /** km a pixel in the middle of the map. */
    kmPerPixel() {
        return 6371 / radian / this.transform.k;
    }
    /** @param {any} event */
    key(event) {
        /** @type {Record<string, number[]>} */
        const steps = {ArrowLeft: [60, 0], ArrowRight: [-60, 0], ArrowUp: [0, 60], ArrowDown: [0, -60]};
        const target = select(this.canvas);
        if (event.key === "+" || event.key === "=") target.call(this.zoom.scaleBy, 1.4);
        else if (event.key === "-") target.call(this.zoom.scaleBy, 1 / 1.4);
        else if (event.key === "0") this.fit();
        else if (steps[event.key]) {
            const [dx, dy] = steps[event.key];
            target.call(this.zoom.translateBy, dx / this.transform.k, dy / this.transform.k);
        } else return;
        event.preventDefault();
        event.stopPropagation();
    }
    /** @param {Context} ctx @param {number} width @param {number} height @param {import("./palette.js").Palette} colours */
    drawMap(ctx, width, height, colours) {
        ctx.save();
        ctx.beginPath();
        ctx.rect(0, 0, width, height);
        ctx.clip();
        ctx.fillStyle = colours.sea;
        ctx.fillRect(0, 0, width, height);
        this.drawGraticule(ctx, colours);
        const [coast, borders] = coastOf(this.plane);
        tag(ctx, "border");
        ctx.setLineDash([5, 4]);
        this.strokeLines(ctx, borders, colours.faint, 0.8);
        ctx.setLineDash([]);
        tag(ctx, "coast");
        this.strokeLines(ctx, coast, colours.coast, 1);
        tag(ctx, "");
        this.layers(this, ctx, colours);
        this.drawScale(ctx, height, colours);
        ctx.restore();
    }
    /** @param {Context} ctx @param {import("./projection.js").Line[]} lines @param {string} colour @param {number} width */
    strokeLines(ctx, lines, colour, width) {
        const {k, x: dx, y: dy} = this.transform;
        ctx.strokeStyle = colour;
        ctx.lineWidth = width;
        ctx.beginPath();
        for (const {xy, box} of lines) {
            if (box[2] * k + dx < 0 || box[0] * k + dx > this.width || box[3] * k + dy < 0 || box[1] * k + dy > this.height) continue;
            let x = xy[0] * k + dx, y = xy[1] * k + dy;
            ctx.moveTo(x, y);
            for (let i = 2; i < xy.length; i += 2) {
                const nx = xy[i] * k + dx, ny = xy[i + 1] * k + dy;
                // What is nearer than a pixel is not seen, unless it ends the line.
                if (Math.abs(nx - x) + Math.abs(ny - y) < 1.2 && i + 2 < xy.length) continue;
                ctx.lineTo(nx, ny);
                x = nx;
                y = ny;
            }
        }
        ctx.stroke();
    }
    /** @param {Context} ctx @param {import("./palette.js").Palette} colours */
    drawGraticule(ctx, colours) {
        const degrees = 150 * this.kmPerPixel() / kmPerDegree;
        const step = [0.02, 0.05, 0.1, 0.2, 0.5, 1, 2, 5, 10, 20, 30].find((s) => s >= degrees) || 30;
        const [lon, lat] = this.plane.back(this.transform.invert([this.width / 2, this.height / 2]));
        if (!Number.isFinite(lat)) return;
        const wide = Math.max(this.width, this.height) * this.kmPerPixel() / kmPerDegree * 0.8;
        const shorten = Math.max(0.15, Math.cos(Math.min(80, Math.abs(lat) + wide / 2) * Math.PI / 180));
        const whole = this.plane.global || wide / shorten > 150;
        const box = whole ? [-180, -90, 180, 90]
            : [lon - wide / shorten, Math.max(-90, lat - wide), lon + wide / shorten, Math.min(90, lat + wide)];
        tag(ctx, "graticule");
        this.strokeLines(ctx, this.plane.graticule(whole ? Math.max(step, 10) : step, box), colours.line, 0.7);
        if (whole) return;
        ctx.fillStyle = colours.faint;
        ctx.textBaseline = "middle";
        ctx.textAlign = "left";
        const text = (/** @type {number} */ v, /** @type {string} */ sides) =>
            `${Number(Math.abs(v).toFixed(2))}°${v < 0 ? sides[1] : v > 0 ? sides[0] : ""}`;
        for (let at = Math.ceil(box[1] / step) * step; at <= box[3]; at += step) {
            const y = this.edge((t) => this.pixel(at, lon + t)[0], 4, (t) => this.pixel(at, lon + t)[1], wide / shorten);
            if (y > 12 && y < this.height - 60) ctx.fillText(text(at, "NS"), 4, y - 8);
        }
        ctx.textBaseline = "top";
        for (let at = Math.ceil(box[0] / step) * step; at <= box[2]; at += step) {
            const x = this.edge((t) => this.pixel(lat + t, at)[1], 4, (t) => this.pixel(lat + t, at)[0], -wide);
            if (x > 40 && x < this.width - 40) ctx.fillText(text(((at + 540) % 360) - 180, "EW"), x + 3, 4);
        }
    }
    /** Where a line of the graticule meets an edge: bisection along it.
     * @param {(t: number) => number} along @param {number} edge @param {(t: number) => number} other @param {number} reach */
    edge(along, edge, other, reach) {
        let low = -reach, high = reach;
        for (let i = 0; i < 24; ++i) {
            const middle = (low + high) / 2;
            if (along(middle) < edge) low = middle;
            else high = middle;
        }
        return other(low);
    }
    /** @param {Context} ctx @param {number} height @param {import("./palette.js").Palette} colours */
    drawScale(ctx, height, colours) {
        const most = 130 * this.kmPerPixel();
        const power = 10 ** Math.floor(Math.log10(most));
        const km = power * (most / power >= 5 ? 5 : most / power >= 2 ? 2 : 1);
        const width = km / this.kmPerPixel();
        tag(ctx, "scale");
        ctx.strokeStyle = colours.ink;
        ctx.fillStyle = colours.ink;
        ctx.lineWidth = 1.5;
        ctx.beginPath();
        ctx.moveTo(12, height - 16);
        ctx.lineTo(12, height - 11);
        ctx.lineTo(12 + width, height - 11);
        ctx.lineTo(12 + width, height - 16);
        ctx.stroke();
        ctx.textAlign = "left";
        ctx.textBaseline = "bottom";
        ctx.fillText(km >= 1 ? `${km} km` : `${km * 1000} m`, 17, height - 14);
        tag(ctx, "");
    }
}
