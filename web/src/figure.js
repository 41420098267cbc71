// A figure: a canvas with a title, drawn again when its size or its data change, saved as SVG or PNG.
import {el, button, download} from "./dom.js";
import {palette} from "./palette.js";
import {SvgContext} from "./svg_context.js";

/** @typedef {CanvasRenderingContext2D & {tag?: string}} Context */
/** @typedef {(ctx: Context, width: number, height: number, colours: import("./palette.js").Palette) => void} Draw */

/** Figures on the page by name. @type {Map<string, Figure>} */
export const figures = new Map();

export class Figure {
    /**
     * @param {string} name of the figure, and of the files it is saved as
     * @param {string} title
     * @param {string} description what it shows, for those who do not see it
     * @param {Draw} draw
     */
    constructor(name, title, description, draw) {
        this.name = name;
        this.draw = draw;
        this.canvas = el("canvas", {role: "img", "aria-label": description});
        this.tip = el("div", {class: "tip", role: "status", hidden: true});
        this.caption = el("span", {}, title);
        this.element = el("figure", {class: "figure", "data-figure": name},
            el("figcaption", {}, this.caption, el("span", {class: "save"},
                button("SVG", () => download(name + ".svg", new Blob([this.svg()], {type: "image/svg+xml"})),
                       {title: "Save as SVG", "aria-label": `Save ${title} as SVG`}),
                button("PNG", () => this.savePng(), {title: "Save as PNG", "aria-label": `Save ${title} as PNG`}))),
            el("div", {class: "canvas"}, this.canvas, this.tip));
        this.width = this.height = 0;
        this.frame = 0;
        new ResizeObserver(() => this.resize()).observe(this.canvas.parentElement);
        figures.set(name, this);
    }
    resize() {
        const box = this.canvas.parentElement.getBoundingClientRect();
        const width = Math.round(box.width), height = Math.round(box.height);
        if (width === this.width && height === this.height) return;
        this.width = width;
        this.height = height;
        this.scale = Math.min(3, window.devicePixelRatio || 1);
        this.canvas.width = width * this.scale;
        this.canvas.height = height * this.scale;
        this.onresize();
        this.paint();
    }
    /** To be replaced by those who keep something that depends on the size. */
    onresize() {}
    /** Draws it with the next frame. */
    request() {
        if (this.frame) return;
        this.frame = requestAnimationFrame(() => {
            this.frame = 0;
            this.paint();
        });
    }
    paint() {
        if (this.width < 10 || this.height < 10) return;
        const ctx = this.canvas.getContext("2d");
        const scale = this.scale || 1;
        ctx.setTransform(scale, 0, 0, scale, 0, 0);
        this.render(ctx);
    }
    /** @param {any} ctx */
    render(ctx) {
        const colours = palette();
        ctx.save();
        ctx.fillStyle = colours.paper;
        ctx.fillRect(0, 0, this.width, this.height);
        ctx.font = "12px system-ui, sans-serif";
        this.draw(ctx, this.width, this.height, colours);
        ctx.restore();
    }
    svg() {
        const ctx = new SvgContext(this.width, this.height);
        this.render(ctx);
        return ctx.text();
    }
    savePng() {
        const canvas = el("canvas", {width: this.width * 2, height: this.height * 2});
        const ctx = canvas.getContext("2d");
        ctx.scale(2, 2);
        this.render(ctx);
        canvas.toBlob((/** @type {Blob} */ blob) => download(this.name + ".png", blob));
    }
    /** A text beside the pointer; empty: none. @param {string} text @param {number} [x] @param {number} [y] */
    say(text, x = 0, y = 0) {
        this.tip.hidden = !text;
        this.tip.textContent = text;
        this.tip.style.left = Math.max(0, Math.min(x + 12, this.width - this.tip.offsetWidth - 4)) + "px";
        this.tip.style.top = Math.max(0, Math.min(y + 12, this.height - this.tip.offsetHeight - 4)) + "px";
    }
    /** Where a pointer is. @param {any} event */
    at(event) {
        const box = this.canvas.getBoundingClientRect();
        return [event.clientX - box.left, event.clientY - box.top];
    }
}

/** Class of what is drawn next, in a saved SVG. @param {Context} ctx @param {string} tag */
export function tag(ctx, tag) {
    if (ctx.tag !== undefined) ctx.tag = tag;
}

/** @type {Map<string, HTMLCanvasElement>} */
const sprites = new Map();

/**
 * A dot with an outline. On a canvas it is a picture made once: ten thousand arcs take 60 ms, as many
 * pictures 6.
 * @param {Context} ctx @param {number} x @param {number} y @param {number} r
 * @param {string} fill @param {string} outline
 */
export function dot(ctx, x, y, r, fill, outline) {
    if (ctx.tag !== undefined || r > 24) {
        ctx.beginPath();
        ctx.arc(x, y, r, 0, 2 * Math.PI);
        ctx.fillStyle = fill;
        ctx.fill();
        return;
    }
    const size = Math.ceil(r + 1.5);
    const key = `${r.toFixed(1)} ${fill} ${outline}`;
    let sprite = sprites.get(key);
    if (!sprite) {
        if (sprites.size > 4000) sprites.clear();
        sprite = /** @type {HTMLCanvasElement} */ (el("canvas", {width: size * 4, height: size * 4}));
        const to = /** @type {CanvasRenderingContext2D} */ (sprite.getContext("2d"));
        to.scale(2, 2);
        to.beginPath();
        to.arc(size, size, r, 0, 2 * Math.PI);
        to.fillStyle = fill;
        to.fill();
        to.strokeStyle = outline;
        to.lineWidth = 0.8;
        to.stroke();
        sprites.set(key, sprite);
    }
    ctx.drawImage(sprite, x - size, y - size, 2 * size, 2 * size);
}

/** @param {Context} ctx @param {number} x @param {number} y @param {number} r @param {boolean} [down] */
export function triangle(ctx, x, y, r, down = false) {
    const up = down ? -1 : 1;
    ctx.beginPath();
    ctx.moveTo(x, y - up * r);
    ctx.lineTo(x + r * 0.9, y + up * r * 0.7);
    ctx.lineTo(x - r * 0.9, y + up * r * 0.7);
    ctx.closePath();
}
