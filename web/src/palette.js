// Colours: those of the style sheet for the figures, and scales that the colour-blind can read.
import {interpolateCividis, interpolatePuOr} from "d3-scale-chromatic";

/** @typedef {ReturnType<typeof palette>} Palette */

export function palette() {
    const style = getComputedStyle(document.documentElement);
    const of = (/** @type {string} */ name) => style.getPropertyValue(name).trim();
    return {
        paper: of("--paper"), ink: of("--ink"), faint: of("--faint"), line: of("--line"), sea: of("--sea"),
        coast: of("--coast"), p: of("--p"), s: of("--s"), chosen: of("--chosen"), dark: of("color-scheme") === "dark",
        outline: of("--outline"),
    };
}

/** Part 0 .. 1 of a range; a range without width is its middle. @param {number} x @param {number[]} range */
export function part(x, [low, high]) {
    return high > low ? Math.min(1, Math.max(0, (x - low) / (high - low))) : 0.5;
}

/** Shallow is light, deep is dark. @param {number} t 0 .. 1 */
export const depthColour = (t) => interpolateCividis(1 - t);
/** Of a time or a count, more is lighter. @param {number} t 0 .. 1 */
export const amountColour = (t) => interpolateCividis(t);
/** Early orange, late violet. @param {number} residual @param {number} largest */
export function residualColour(residual, largest) {
    return interpolatePuOr(0.5 - 0.5 * Math.max(-1, Math.min(1, residual / (largest || 1))));
}
