// What the reader has chosen. Every view shows it and may change it.

/** @typedef {import("./data.js").Data} Data */
/**
 * @typedef {Object} Filter
 * @property {string} text part of an identifier or of a grid's name
 * @property {number} from seconds
 * @property {number} to
 * @property {number} shallow km
 * @property {number} deep
 * @property {number} picks at least
 * @property {number} gap at most, degrees
 * @property {number} scatter at most, s
 */
/** @returns {Filter} */
export const everything = () => ({
    text: "", from: -Infinity, to: Infinity, shallow: -Infinity, deep: Infinity, picks: 0,
    gap: Infinity, scatter: Infinity,
});

/** Columns of the list: how to sort by them. @type {Record<string, (data: Data, i: number) => number | string>} */
export const sortKeys = {
    time: (d, i) => d.events.time[i], lat: (d, i) => d.events.lat[i], lon: (d, i) => d.events.lon[i],
    depth: (d, i) => d.events.depth[i], major: (d, i) => d.events.major[i], p: (d, i) => d.events.p[i],
    s: (d, i) => d.events.s[i], stations: (d, i) => d.events.stations[i], gap: (d, i) => d.events.gap[i],
    scatter: (d, i) => d.events.scatter[i], score: (d, i) => d.events.score[i],
    grid: (d, i) => d.texts[d.events.grid[i]],
};

export class Store {
    /** @param {Data} data */
    constructor(data) {
        this.data = data;
        this.filter = everything();
        this.selected = -1;
        this.hovered = -1;
        this.sort = {key: "time", down: false};
        this.azimuth = 0;
        /** Events that pass, in the order of the list. @type {number[]} */
        this.shown = [];
        /** @type {Set<(what: string) => void>} */
        this.listeners = new Set();
        this.choose();
    }
    /** @param {(what: string) => void} listener told "filter", "selected", "hovered" or "section" */
    on(listener) { this.listeners.add(listener); }
    /** @param {string} what */
    tell(what) { for (const listener of this.listeners) listener(what); }

    /** @param {number} i */
    passes(i) {
        const e = this.data.events, f = this.filter;
        if (e.time[i] < f.from || e.time[i] > f.to) return false;
        if (e.depth[i] < f.shallow || e.depth[i] > f.deep) return false;
        if (e.p[i] + e.s[i] < f.picks || e.gap[i] > f.gap || e.scatter[i] > f.scatter) return false;
        if (!f.text) return true;
        const words = (this.data.texts[e.id[i]] + " " + this.data.texts[e.grid[i]]).toLowerCase();
        return words.includes(f.text.toLowerCase());
    }
    choose() {
        this.shown = [];
        for (let i = 0; i < this.data.events.n; ++i) if (this.passes(i)) this.shown.push(i);
        const key = sortKeys[this.sort.key], sign = this.sort.down ? -1 : 1;
        const keys = new Map(this.shown.map((i) => [i, key(this.data, i)]));
        this.shown.sort((a, b) => {
            const x = /** @type {any} */ (keys.get(a)), y = /** @type {any} */ (keys.get(b));
            // What is not known comes last, whichever way.
            if (Number.isNaN(x) || Number.isNaN(y)) return Number(Number.isNaN(x)) - Number(Number.isNaN(y));
            return x < y ? -sign : x > y ? sign : a - b;
        });
    }
    /** @param {Partial<Filter>} change */
    setFilter(change) {
        Object.assign(this.filter, change);
        this.choose();
        this.tell("filter");
    }
    /** @param {string} key */
    sortBy(key) {
        this.sort = {key, down: this.sort.key === key ? !this.sort.down : false};
        this.choose();
        this.tell("filter");
    }
    /** @param {number} i an event, -1: none */
    select(i) {
        this.selected = i;
        this.tell("selected");
    }
    /** @param {number} i */
    hover(i) {
        if (i === this.hovered) return;
        this.hovered = i;
        this.tell("hovered");
    }
    /** The event before or behind the selected one in the list. @param {number} step */
    move(step) {
        if (this.shown.length === 0) return;
        const at = this.shown.indexOf(this.selected);
        const to = at < 0 ? (step > 0 ? 0 : this.shown.length - 1)
                          : Math.min(this.shown.length - 1, Math.max(0, at + step));
        this.select(this.shown[to]);
    }
    /** @param {number} azimuth degrees */
    setAzimuth(azimuth) {
        this.azimuth = azimuth;
        this.tell("section");
    }
}
