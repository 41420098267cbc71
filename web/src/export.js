// An event as files of other programs.
import {picksOf} from "./event_figures.js";
import {iso} from "./format.js";

/** @typedef {import("./data.js").Data} Data */

/** @param {string} text */
const xml = (text) => String(text).replace(/[^\t\n\r\u0020-\ud7ff\ue000-\ufffd]/g, "_")
    .replace(/[&<>"']/g, (c) => `&#${c.charCodeAt(0)};`);
/** A resource identifier of QuakeML: of what the schema allows alone. @param {string} path */
const resource = (path) => "smi:local/velorix/" + path.replace(/[^A-Za-z0-9\-.*()_~'/]/g, "_").replace(/'/g, "&#39;");

/** An element; nothing when the value is not known. @param {string} name @param {string | number} value */
function leaf(name, value) {
    return typeof value === "number" && !Number.isFinite(value) ? "" : `<${name}>${xml(String(value))}</${name}>`;
}
/** @param {string} name @param {string | number} value @param {number} [error] */
function quantity(name, value, error = NaN) {
    return `<${name}>${leaf("value", value)}${error > 0 ? leaf("uncertainty", error) : ""}</${name}>`;
}

/** Network, station, location and channel of a pick. @param {Data} data @param {number} k */
function codes(data, k) {
    const name = data.stations.name[data.picks.station[k]];
    const channel = data.texts[data.picks.channel[k]];
    const dot = name.indexOf("."), bar = channel.indexOf(".");
    return {
        network: dot < 0 ? "" : name.slice(0, dot), station: name.slice(dot + 1),
        location: bar < 0 ? "" : channel.slice(0, bar), channel: channel.slice(bar + 1),
    };
}

/** QuakeML 1.2, Basic Event Description. @param {Data} data @param {number} i */
export function quakeMlOf(data, i) {
    const e = data.events, p = data.picks;
    const id = data.texts[e.id[i]] || iso(e.time[i], 2);
    const picks = picksOf(data, i).map((k, n) => ({k, n, ...codes(data, k)}));
    const pickXml = picks.map(({k, n, network, station, location, channel}) =>
        `<pick publicID="${resource(`pick/${id}/${n}`)}">${quantity("time", iso(e.time[i] + p.travel[k]))}` +
        `<waveformID networkCode="${xml(network.slice(0, 8))}" stationCode="${xml(station.slice(0, 8))}"` +
        (location ? ` locationCode="${xml(location.slice(0, 8))}"` : "") + (channel ? ` channelCode="${xml(channel.slice(0, 8))}"` : "") +
        `/>${leaf("phaseHint", p.s[k] ? "S" : "P")}${leaf("evaluationMode", "automatic")}</pick>`);
    const arrivals = picks.map(({k, n}) =>
        `<arrival publicID="${resource(`arrival/${id}/${n}`)}"><pickID>${resource(`pick/${id}/${n}`)}</pickID>` +
        leaf("phase", p.s[k] ? "S" : "P") + leaf("azimuth", p.azimuth[k]) + leaf("distance", p.distance[k]) +
        leaf("timeResidual", p.residual[k]) + leaf("timeWeight", p.defining[k] ? p.weight[k] : 0) + "</arrival>");
    const quality = leaf("associatedPhaseCount", picks.length) + leaf("usedPhaseCount", e.defining[i]) +
        leaf("associatedStationCount", e.stations[i]) + leaf("standardError", e.scatter[i]) + leaf("azimuthalGap", e.gap[i]) +
        leaf("minimumDistance", e.nearest[i]) + leaf("maximumDistance", e.farthest[i]) + leaf("medianDistance", e.median[i]);
    const ellipse = e.major[i] > 0
        ? "<originUncertainty>" + leaf("minHorizontalUncertainty", e.minor[i] * 1000) + leaf("maxHorizontalUncertainty", e.major[i] * 1000) +
          leaf("azimuthMaxHorizontalUncertainty", e.strike[i]) + leaf("preferredDescription", "uncertainty ellipse") + "</originUncertainty>" : "";
    const model = data.texts[e.model[i]];
    const origin = `<origin publicID="${resource("origin/" + id)}">${quantity("time", iso(e.time[i]), e.time_error[i])}` +
        quantity("latitude", e.lat[i]) + quantity("longitude", e.lon[i]) + quantity("depth", e.depth[i] * 1000, e.depth_error[i] * 1000) +
        leaf("depthType", e.fixed_depth[i] ? "operator assigned" : "from location") +
        (model ? `<earthModelID>${resource("model/" + model)}</earthModelID>` : "") +
        `<quality>${quality}</quality>${ellipse}${leaf("evaluationMode", "automatic")}${arrivals.join("\n")}</origin>`;
    return '<?xml version="1.0" encoding="UTF-8"?>\n' +
        '<q:quakeml xmlns:q="http://quakeml.org/xmlns/quakeml/1.2" xmlns="http://quakeml.org/xmlns/bed/1.2">\n' +
        `<eventParameters publicID="${resource("catalogue/" + id)}"><event publicID="${resource("event/" + id)}">` +
        `<preferredOriginID>${resource("origin/" + id)}</preferredOriginID><type>earthquake</type>\n` +
        `${pickXml.join("\n")}\n${origin}</event></eventParameters>\n</q:quakeml>\n`;
}

/** A field of CSV. A spreadsheet takes what begins with one of these for a formula. @param {string | number} value */
function csvField(value) {
    const text = typeof value === "string" && /^[=+\-@\t\r]/.test(value) ? "'" + value : String(value);
    return /[",\n\r]/.test(text) ? `"${text.replace(/"/g, '""')}"` : text;
}

/** The picks of an event, and those left out. @param {Data} data @param {number} i */
export function csvOf(data, i) {
    const e = data.events, p = data.picks, l = data.left;
    const rows = [["event", "station", "channel", "phase", "label", "time", "residual_s", "distance_deg", "azimuth_deg", "weight", "defining", "left_out"]];
    const start = (/** @type {any} */ t, /** @type {number} */ k) => [data.texts[e.id[i]], data.stations.name[t.station[k]], data.texts[t.channel[k]],
        t.s[k] ? "S" : "P", data.texts[t.label[k]], iso(e.time[i] + t.travel[k]), t.residual[k]];
    for (const k of picksOf(data, i)) rows.push([...start(p, k), p.distance[k], p.azimuth[k], p.weight[k], p.defining[k], ""]);
    for (let k = e.firstLeft[i]; k < e.firstLeft[i + 1]; ++k) rows.push([...start(l, k), "", "", "", "", data.texts[l.reason[k]]]);
    return rows.map((row) => row.map((v) => csvField(Number.isNaN(v) ? "" : v)).join(",")).join("\n") + "\n";
}
