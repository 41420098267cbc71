// Elements. Texts become text nodes and attribute values, never markup.

/**
 * @param {string} tag
 * @param {Record<string, any>} [attributes] `on...`: listeners; null and false: none
 * @param {...any} children elements and texts
 * @returns {any}
 */
export function el(tag, attributes = {}, ...children) {
    const node = document.createElement(tag);
    for (const [name, value] of Object.entries(attributes)) {
        if (value === null || value === undefined || value === false) continue;
        if (name.startsWith("on")) node.addEventListener(name.slice(2), value);
        else node.setAttribute(name, value === true ? "" : String(value));
    }
    node.append(...children.flat().map((child) => (child instanceof Node ? child : String(child))));
    return node;
}

/** A button. @param {string} text @param {(event: any) => void} act @param {Record<string, any>} [more] */
export function button(text, act, more = {}) {
    return el("button", {type: "button", onclick: act, ...more}, text);
}

/** A field with its name. @param {string} name @param {any} input */
export function field(name, input) {
    return el("label", {class: "field"}, el("span", {}, name), input);
}

/** A choice of several. @param {[string, string][]} options value and text @param {(value: string) => void} act */
export function choice(options, act) {
    const node = el("select", {}, ...options.map(([value, text]) => el("option", {value}, text)));
    node.addEventListener("change", () => act(node.value));
    return node;
}

/** Hands a file to the reader. @param {string} name @param {Blob} blob */
export function download(name, blob) {
    const url = URL.createObjectURL(blob);
    el("a", {href: url, download: name}).click();
    setTimeout(() => URL.revokeObjectURL(url), 10000);
}
