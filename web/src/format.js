// Numbers and times as text; times are UTC.

/** "4.2", or "–" for what is not known. @param {number} value @param {number} decimals */
export function fixed(value, decimals) {
    return Number.isFinite(value) ? value.toFixed(decimals) : "–";
}

/** With its sign. @param {number} value @param {number} decimals */
export function signed(value, decimals) {
    return Number.isFinite(value) ? (value < 0 ? "−" : "+") + Math.abs(value).toFixed(decimals) : "–";
}

/** "2016-10-14 00:00:09.07". @param {number} epoch seconds @param {number} [decimals] 0 .. 4 */
export function utc(epoch, decimals = 2) {
    if (!Number.isFinite(epoch)) return "–";
    return iso(epoch, decimals).replace("T", " ").replace("Z", "");
}

/** "2016-10-14T00:00:09.0679Z". @param {number} epoch seconds @param {number} [decimals] 0 .. 4 */
export function iso(epoch, decimals = 4) {
    // Whole units first: a date keeps milliseconds only.
    const unit = 10 ** decimals;
    const units = Math.round(epoch * unit);
    const seconds = Math.floor(units / unit);
    const rest = units - seconds * unit;
    const date = new Date(seconds * 1000);
    if (Number.isNaN(date.getTime())) return "–";
    const fraction = decimals > 0 ? "." + String(rest).padStart(decimals, "0") : "";
    return date.toISOString().slice(0, -5) + fraction + "Z";
}

/** Seconds of a text such as "2016-10-14 00:05"; NaN when it is none. @param {string} text */
export function epochOf(text) {
    const tidy = text.trim().replace(" ", "T").replace(/Z?$/, "");
    if (!/^\d{4}-\d\d-\d\d(T\d\d:\d\d(:\d\d(\.\d+)?)?)?$/.test(tidy)) return NaN;
    return Date.parse((tidy.includes("T") ? tidy : tidy + "T00:00") + "Z") / 1000;
}

/** @param {number} n @param {string} what */
export function counted(n, what) {
    return `${n.toLocaleString("en")} ${what}${n === 1 ? "" : "s"}`;
}
