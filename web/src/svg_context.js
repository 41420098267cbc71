// What a figure draws on a canvas, as the text of an SVG file: the part of a canvas context that the
// figures use.

/** @param {string} text */
const escaped = (text) =>
    String(text).replace(/[&<>"']/g, (c) => `&#${c.charCodeAt(0)};`).replace(/[\u0000-\u0008\u000b\u000c\u000e-\u001f]/g, "");
/** @param {number} x */
const short = (x) => String(Math.round(x * 100) / 100);

const measure = /** @type {CanvasRenderingContext2D} */ (document.createElement("canvas").getContext("2d"));

export class SvgContext {
    /** @param {number} width @param {number} height */
    constructor(width, height) {
        this.width = width;
        this.height = height;
        /** @type {string[]} */
        this.parts = [];
        this.clips = 0;
        /** Class of the elements to come. */
        this.tag = "";
        this.state = {
            fillStyle: "#000", strokeStyle: "#000", lineWidth: 1, font: "12px sans-serif",
            textAlign: "start", textBaseline: "alphabetic", globalAlpha: 1, lineJoin: "miter",
            dash: "", transform: "", clip: "",
        };
        /** @type {any[]} */
        this.stack = [];
        this.path = "";
        /** @type {number[] | null} */
        this.circle = null;
        /** What the last part fills the path with, as long as nothing else has been drawn since. */
        this.filled = "";
        for (const name of Object.keys(this.state)) {
            if (name in this) continue;
            Object.defineProperty(this, name, {
                get: () => /** @type {any} */ (this.state)[name],
                set: (value) => { /** @type {any} */ (this.state)[name] = value; },
            });
        }
    }
    save() { this.stack.push({...this.state}); }
    restore() { this.state = this.stack.pop(); }
    /** @param {number[]} dash */
    setLineDash(dash) { this.state.dash = dash.join(" "); }
    /** @param {number} x @param {number} y */
    translate(x, y) { this.state.transform += `translate(${short(x)} ${short(y)})`; }
    /** @param {number} angle */
    rotate(angle) { this.state.transform += `rotate(${short(angle * 180 / Math.PI)})`; }
    beginPath() {
        this.path = "";
        this.circle = null;
        this.filled = "";
    }
    /** @param {number} x @param {number} y */
    moveTo(x, y) { this.path += `M${short(x)} ${short(y)}`; }
    /** @param {number} x @param {number} y */
    lineTo(x, y) { this.path += `${this.path ? "L" : "M"}${short(x)} ${short(y)}`; }
    closePath() { this.path += "Z"; }
    /** @param {number} x @param {number} y @param {number} w @param {number} h */
    rect(x, y, w, h) { this.path += `M${short(x)} ${short(y)}h${short(w)}v${short(h)}h${short(-w)}Z`; }
    /** @param {number} x @param {number} y @param {number} r @param {number} from @param {number} to */
    arc(x, y, r, from, to) {
        if (Math.abs(to - from) >= 2 * Math.PI - 1e-6) {
            if (!this.path) this.circle = [x, y, r];
            this.path += `M${short(x - r)} ${short(y)}a${short(r)} ${short(r)} 0 1 0 ${short(2 * r)} 0a${short(r)} ${short(r)} 0 1 0 ${short(-2 * r)} 0Z`;
            return;
        }
        this.lineTo(x + r * Math.cos(from), y + r * Math.sin(from));
        const large = to - from > Math.PI ? 1 : 0;
        this.path += `A${short(r)} ${short(r)} 0 ${large} 1 ${short(x + r * Math.cos(to))} ${short(y + r * Math.sin(to))}`;
    }
    /** @param {string} paint */
    draw(paint) {
        const shape = this.circle
            ? `<circle cx="${short(this.circle[0])}" cy="${short(this.circle[1])}" r="${short(this.circle[2])}"`
            : `<path d="${this.path}"`;
        this.put(`${shape} ${paint}`, "/>");
    }
    /** @param {string} head @param {string} tail */
    put(head, tail) {
        const s = this.state;
        this.filled = "";
        this.parts.push(head + (this.tag ? ` class="${escaped(this.tag)}"` : "") +
            (s.globalAlpha < 1 ? ` opacity="${short(s.globalAlpha)}"` : "") +
            (s.transform ? ` transform="${s.transform}"` : "") +
            (s.clip && !s.transform ? ` clip-path="url(#${s.clip})"` : "") + tail);
    }
    fill() {
        const paint = `fill="${escaped(this.state.fillStyle)}"`;
        this.draw(paint);
        this.filled = paint;
    }
    /** A path that has just been filled stays one element. */
    stroke() {
        const s = this.state;
        const fill = this.filled || `fill="none"`;
        if (this.filled) this.parts.pop();
        this.draw(`${fill} stroke="${escaped(s.strokeStyle)}" stroke-width="${short(s.lineWidth)}"` +
                  (s.dash ? ` stroke-dasharray="${s.dash}"` : ""));
    }
    clip() {
        this.filled = "";
        const id = `clip${++this.clips}`;
        this.parts.push(`<clipPath id="${id}"><path d="${this.path}"/></clipPath>`);
        this.state.clip = id;
    }
    /** @param {number} x @param {number} y @param {number} w @param {number} h */
    fillRect(x, y, w, h) {
        this.beginPath();
        this.rect(x, y, w, h);
        this.fill();
    }
    /** @param {number} x @param {number} y @param {number} w @param {number} h */
    strokeRect(x, y, w, h) {
        this.beginPath();
        this.rect(x, y, w, h);
        this.stroke();
    }
    /** @param {string} text @param {number} x @param {number} y */
    fillText(text, x, y) {
        const s = this.state;
        const anchor = {center: "middle", right: "end", end: "end"}[s.textAlign] || "start";
        const base = {middle: "central", top: "text-before-edge", bottom: "text-after-edge"}[s.textBaseline] || "auto";
        this.put(`<text x="${short(x)}" y="${short(y)}" style="font:${escaped(s.font)}" fill="${escaped(s.fillStyle)}" ` +
                 `text-anchor="${anchor}" dominant-baseline="${base}"`, `>${escaped(text)}</text>`);
    }
    /** @param {string} text */
    measureText(text) {
        measure.font = this.state.font;
        return measure.measureText(text);
    }
    text() {
        return `<svg xmlns="http://www.w3.org/2000/svg" width="${this.width}" height="${this.height}" ` +
               `viewBox="0 0 ${this.width} ${this.height}">${this.parts.join("\n")}</svg>\n`;
    }
}
