// The page: reads its data, makes the views, and heeds the keyboard.
import {catalogue} from "./catalogue.js";
import {curveTime, load} from "./data.js";
import {el, button} from "./dom.js";
import {eventView} from "./event.js";
import {quakeMlOf} from "./export.js";
import {figures} from "./figure.js";
import {counted, utc} from "./format.js";
import {centre} from "./geodesy.js";
import {gridsView} from "./grids.js";
import {Plane} from "./projection.js";
import {runView} from "./run.js";
import {Store} from "./store.js";
import {Symbols} from "./symbols.js";

/** @typedef {{name: string, element: any, redraw: () => void, setVisible?: (now: boolean) => void}} View */

/** @param {import("./data.js").Data} data */
function planeOf({events, stations}) {
    const places = Array.from({length: events.n}, (_, i) => [events.lat[i], events.lon[i]]);
    for (let i = 0; i < stations.n; ++i) {
        if (Number.isFinite(stations.lat[i])) places.push([stations.lat[i], stations.lon[i]]);
    }
    return new Plane(centre(places));
}

/** @param {import("./store.js").Store} store */
function summary(store) {
    const {events, picks} = store.data;
    const line = el("p", {class: "summary", role: "status"});
    const tell = () => {
        if (events.n === 0) return line.replaceChildren(counted(store.data.grids.length, "grid"));
        let first = Infinity, last = -Infinity;
        for (const t of events.time) {
            first = Math.min(first, t);
            last = Math.max(last, t);
        }
        const some = store.shown.length < events.n ? `${store.shown.length.toLocaleString("en")} of ` : "";
        line.replaceChildren(`${some}${counted(events.n, "event")}, ${counted(picks.n, "pick")}, ${utc(first, 0)} to ${utc(last, 0)} UTC`);
    };
    store.on((what) => { if (what === "filter") tell(); });
    tell();
    return line;
}

function help() {
    const keys = [["J, K", "next and previous event of the list"], ["Enter", "the chosen event"], ["Esc", "back, or no event"],
        ["1 … 4", "views"], ["/", "find"], ["T", "dark or light"], ["+ − 0, arrows", "on the map: closer, wider, all, move"], ["?", "this help"]];
    const dialog = el("dialog", {}, el("h2", {}, "Keys"), el("dl", {class: "facts"}, keys.map(([key, what]) => el("div", {}, el("dt", {}, key), el("dd", {}, what)))),
        button("Close", () => dialog.close()));
    return dialog;
}

/** @param {import("./data.js").Data} data */
function build(data) {
    const store = new Store(data);
    const plane = planeOf(data), symbols = new Symbols(data);
    /** @type {View[]} */
    const views = [];
    if (data.events.n > 0 || data.grids.every((grid) => !grid.table)) {
        views.push({name: "Catalogue", ...catalogue(store, symbols, plane, () => open("Event"))},
                   {name: "Event", ...eventView(store, plane)}, {name: "Run", ...runView(store)});
    }
    if (data.grids.length > 0) views.push({name: "Grids", ...gridsView(data)});
    const tabs = views.map((view, n) => button(view.name, () => open(view.name),
        {role: "tab", id: `tab-${n}`, "aria-controls": `view-${n}`}));
    /** @param {string} name */
    function open(name) {
        views.forEach((view, n) => {
            const now = view.name === name;
            view.element.hidden = !now;
            tabs[n].setAttribute("aria-selected", String(now));
            tabs[n].tabIndex = now ? 0 : -1;
            if (view.setVisible) view.setVisible(now);
        });
    }
    views.forEach((view, n) => {
        view.element.id = `view-${n}`;
        view.element.setAttribute("role", "tabpanel");
        view.element.setAttribute("aria-labelledby", `tab-${n}`);
    });
    const redraw = () => views.forEach((view) => view.redraw());
    const dialog = help();
    function turn() {
        const root = document.documentElement;
        const dark = getComputedStyle(root).colorScheme === "dark";
        root.dataset.theme = dark ? "light" : "dark";
        redraw();
    }
    const header = el("header", {}, el("h1", {}, data.title || "velorix"), summary(store),
        el("nav", {role: "tablist", "aria-label": "Views"}, tabs),
        el("span", {class: "tools"}, button("Dark or light", turn), button("Keys", () => dialog.showModal())));
    document.title = (data.title ? data.title + " – " : "") + "velorix";
    document.body.append(header, el("main", {}, views.map((view) => view.element)), dialog,
        el("footer", {}, `${data.madeBy}. Times are UTC. Coastlines and borders: Natural Earth.`));
    matchMedia("(prefers-color-scheme: dark)").addEventListener("change", redraw);
    document.addEventListener("keydown", (event) => {
        const target = /** @type {HTMLElement} */ (event.target);
        if (event.ctrlKey || event.altKey || event.metaKey || dialog.open) return;
        if (/^(INPUT|SELECT|TEXTAREA)$/.test(target.tagName)) {
            if (event.key === "Escape") target.blur();
            return;
        }
        const shown = views.find((view) => !view.element.hidden);
        const act = {
            j: () => store.move(1), k: () => store.move(-1), t: turn, "?": () => dialog.showModal(),
            "/": () => { open(views[0].name); const find = document.querySelector("input[name=text]"); if (find) /** @type {HTMLElement} */ (find).focus(); },
            Escape: () => (shown && shown.name !== views[0].name ? open(views[0].name) : store.select(-1)),
            Enter: () => { if (target.tagName !== "BUTTON" && store.selected >= 0) open("Event"); },
        }[event.key] || (views[Number(event.key) - 1] && (() => open(views[Number(event.key) - 1].name)));
        if (!act) return;
        act();
        if (event.key === "/") event.preventDefault();
    });
    open(views.length ? views[0].name : "");
    return {store, figures, curveTime, quakeMlOf};
}

load().then((data) => {
    // For the console of the reader, and for the tests.
    Object.assign(window, {velorix: build(data)});
    document.documentElement.dataset.ready = "yes";
}).catch((error) => {
    document.body.append(el("p", {class: "failure", role: "alert"}, `This page cannot be shown: ${error.message}`));
});
