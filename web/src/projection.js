// From places to the plane, and the coastlines there.
import {geoAzimuthalEquidistant, geoNaturalEarth1} from "d3-geo";
import packed from "../coastlines.txt";

/** Of the alphabet of tools/coastlines/make_coastlines.py. */
const alphabet = Array.from({length: 93}, (_, i) => String.fromCharCode(33 + i))
    .filter((c) => !"\"&'<>\\`".includes(c)).slice(0, 85).join("");
const unit = 0.01;

/** Lines of a table as longitudes and latitudes. @param {string} text @returns {Float32Array[]} */
function unpack(text) {
    const value = new Int16Array(128);
    for (let i = 0; i < alphabet.length; ++i) value[alphabet.charCodeAt(i)] = i;
    const half = alphabet.length >> 1;
    const digits = (/** @type {string} */ s, /** @type {number} */ at) =>
        (value[s.charCodeAt(at)] * 85 + value[s.charCodeAt(at + 1)]) * 85 + value[s.charCodeAt(at + 2)];
    return text.split("~").slice(1).map((line) => {
        const out = new Float32Array(line.length - 4);
        let x = digits(line, 0), y = digits(line, 3);
        out[0] = x * unit - 180;
        out[1] = y * unit - 90;
        for (let at = 6, to = 2; at < line.length; at += 2, to += 2) {
            x += value[line.charCodeAt(at)] - half;
            y += value[line.charCodeAt(at + 1)] - half;
            out[to] = x * unit - 180;
            out[to + 1] = y * unit - 90;
        }
        return out;
    });
}

/** @type {Float32Array[][] | null} */
let lines = null;
function coastlines() {
    if (!lines) lines = packed.split("\n").filter((line) => line && !line.startsWith("#")).map(unpack);
    return lines;
}

/** @typedef {{xy: Float32Array, box: number[]}} Line of the plane, with its bounds */

/** Earth radii in the plane a radian: lengths there are this times radians. */
export const radian = 1000;
/** Wider than this, degrees from the middle, the whole globe is shown. */
const widest = 60;

export class Plane {
    /** @param {{lat: number, lon: number, reach: number}} centre */
    constructor(centre) {
        this.global = centre.reach > widest;
        this.projection = this.global ? geoNaturalEarth1().rotate([-centre.lon, 0])
                                      : geoAzimuthalEquidistant().rotate([-centre.lon, -centre.lat]).clipAngle(100);
        this.projection.scale(radian).translate([0, 0]).precision(0);
    }
    /** @param {number} lat @param {number} lon @returns {[number, number]} */
    at(lat, lon) {
        return this.projection([lon, lat]) || [NaN, NaN];
    }
    /** @param {number[]} xy @returns {number[]} longitude, latitude */
    back(xy) { return this.projection.invert(xy) || [NaN, NaN]; }
    /** Coastlines, then borders. @returns {Line[][]} */
    coast() { return coastlines().map((some) => this.lines(some)); }
    /** Meridians and parallels. @param {number} step degrees @param {number[]} box west, south, east, north */
    graticule(step, [west, south, east, north]) {
        const lines = [];
        const fine = step / 8;
        for (let lon = Math.ceil(west / step) * step; lon <= east; lon += step) {
            const line = [];
            for (let lat = south; lat <= north + 1e-9; lat += fine) line.push(lon, Math.min(90, lat));
            lines.push(Float32Array.from(line));
        }
        for (let lat = Math.ceil(south / step) * step; lat <= north; lat += step) {
            const line = [];
            for (let lon = west; lon <= east + 1e-9; lon += fine) line.push(lon, lat);
            lines.push(Float32Array.from(line));
        }
        return this.lines(lines);
    }
    /** @param {Float32Array[]} of longitudes and latitudes @returns {Line[]} */
    lines(of) {
        /** @type {Line[]} */
        const out = [];
        /** @type {number[]} */
        let line = [];
        const stream = this.projection.stream({
            point: (/** @type {number} */ x, /** @type {number} */ y) => { line.push(x, y); },
            lineStart: () => { line = []; },
            lineEnd: () => { if (line.length > 2) out.push({xy: Float32Array.from(line), box: boundsOf(line)}); },
            polygonStart: () => {}, polygonEnd: () => {}, sphere: () => {},
        });
        for (const points of of) {
            stream.lineStart();
            for (let i = 0; i < points.length; i += 2) stream.point(points[i], points[i + 1]);
            stream.lineEnd();
        }
        return out;
    }
}

/** @param {number[]} line */
function boundsOf(line) {
    const box = [Infinity, Infinity, -Infinity, -Infinity];
    for (let i = 0; i < line.length; i += 2) {
        box[0] = Math.min(box[0], line[i]);
        box[1] = Math.min(box[1], line[i + 1]);
        box[2] = Math.max(box[2], line[i]);
        box[3] = Math.max(box[3], line[i + 1]);
    }
    return box;
}
