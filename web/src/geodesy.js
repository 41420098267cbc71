// Great circles on the sphere, degrees and km.

export const kmPerDegree = 111.19492664455873;  // sphere of 6371 km
const radians = Math.PI / 180;

/** Distance and azimuth from the first point to the second, degrees.
 * @param {number} lat1 @param {number} lon1 @param {number} lat2 @param {number} lon2 */
export function path(lat1, lon1, lat2, lon2) {
    const a = lat1 * radians, b = lat2 * radians, d = (lon2 - lon1) * radians;
    const east = Math.cos(b) * Math.sin(d);
    const north = Math.cos(a) * Math.sin(b) - Math.sin(a) * Math.cos(b) * Math.cos(d);
    const along = Math.sin(a) * Math.sin(b) + Math.cos(a) * Math.cos(b) * Math.cos(d);
    return {
        delta: Math.atan2(Math.hypot(east, north), along) / radians,
        azimuth: (Math.atan2(east, north) / radians + 360) % 360,
    };
}

/** The point so far along an azimuth. @param {number} lat @param {number} lon @param {number} delta @param {number} azimuth */
export function reach(lat, lon, delta, azimuth) {
    const a = lat * radians, d = delta * radians, z = azimuth * radians;
    const sine = Math.sin(a) * Math.cos(d) + Math.cos(a) * Math.sin(d) * Math.cos(z);
    const east = Math.atan2(Math.sin(z) * Math.sin(d) * Math.cos(a), Math.cos(d) - Math.sin(a) * sine);
    return {lat: Math.asin(Math.max(-1, Math.min(1, sine))) / radians, lon: ((lon + east / radians + 540) % 360) - 180};
}

/** The middle of places, and how far the farthest lies from it. @param {number[][]} places latitude, longitude */
export function centre(places) {
    let x = 0, y = 0, z = 0;
    for (const [lat, lon] of places) {
        x += Math.cos(lat * radians) * Math.cos(lon * radians);
        y += Math.cos(lat * radians) * Math.sin(lon * radians);
        z += Math.sin(lat * radians);
    }
    const lat = Math.atan2(z, Math.hypot(x, y)) / radians, lon = Math.atan2(y, x) / radians;
    let reach_ = 0;
    for (const [a, b] of places) reach_ = Math.max(reach_, path(lat, lon, a, b).delta);
    return {lat: places.length ? lat : 0, lon: places.length ? lon : 0, reach: reach_};
}
