// Where the gateway says it is: land, graticule, scale, both blocks. Plate carrée, true to scale at its middle.

import { by_id, empty, fill, h, svg } from "../dom.js";
import { date_time, position, signed, stamp } from "../format.js";
import { chosen_gateway, on } from "../state.js";

const SPANS = [360, 90, 20, 4, 0.5, 0.05, 0.005]; // degrees from west to east
const SCALE_PX = 150; // the scale bar is no longer
const KM_A_DEGREE = 111.195;
let [width, height] = [600, 300]; // pixels; as wide as the panel
let zoom = 0;
let land = null; // rings of [longitude, latitude]
let before;

/** The rings of a TopoJSON file's land: arcs are quantised, each point told as the step from the one before. */
function rings_of(topology) {
  const { scale, translate } = topology.transform;
  const arcs = topology.arcs.map((arc) => {
    let [x, y] = [0, 0];
    return arc.map(([dx, dy]) => [(x += dx) * scale[0] + translate[0], (y += dy) * scale[1] + translate[1]]);
  });
  const points = (index) => (index < 0 ? [...arcs[~index]].reverse() : arcs[index]);
  return topology.objects.land.geometries
    .flatMap((shape) => shape.arcs.flat())
    .map((ring) => unrolled(ring.flatMap(points)));
}

/** A ring that runs on over the date line instead of jumping back; one around a pole is closed along the map's edge. */
function unrolled(ring) {
  let turn = 0;
  const line = ring.map(([x, y], index) => {
    const step = index === 0 ? 0 : x - ring[index - 1][0];
    if (Math.abs(step) > 180) turn -= 360 * Math.sign(step);
    return [x + turn, y];
  });
  const [first, last] = [line[0], line.at(-1)];
  if (Math.abs(last[0] - first[0]) < 180) return line;
  const pole = first[1] < 0 ? -90 : 90;
  return [...line, [last[0], pole], [first[0], pole]];
}

function view(places) {
  const span = SPANS[zoom];
  const middle = zoom === 0 || places.length === 0 ? { Long: 0, Lat: 0 } : places[0].values;
  const shrink = zoom === 0 ? 1 : Math.max(Math.cos((middle.Lat * Math.PI) / 180), 0.05);
  const unit = width / span; // of a degree of longitude
  return {
    span,
    middle,
    shrink,
    unit,
    x: (longitude) => width / 2 + (longitude - middle.Long) * unit,
    y: (latitude) => height / 2 - ((latitude - middle.Lat) * unit) / shrink,
    height: (span * shrink * height) / width,
    km: (KM_A_DEGREE * span * shrink) / width, // one unit of the drawing
  };
}

function land_path(v) {
  const line = (ring, shift) =>
    "M" + ring.map(([x, y]) => `${v.x(x + shift).toFixed(1)},${v.y(y).toFixed(1)}`).join("L") + "Z";
  return svg("path", {
    class: "land",
    d: [-360, 0, 360].flatMap((shift) => land.map((ring) => line(ring, shift))).join(""),
  });
}

const DEGREE_STEPS = [0.0005, 0.001, 0.002, 0.005, 0.01, 0.02, 0.05, 0.1, 0.2, 0.5, 1, 2, 5, 10, 15, 30, 60];
const [DIGIT_PX, GAP_PX, WHOLE_DIGITS] = [6, 8, 5];
const decimals = (step) => (step < 1 ? Math.ceil(-Math.log10(step)) : 0);
const label = (value, step) => `${signed(Number((((value + 540) % 360) - 180).toFixed(decimals(step))))}°`;

/** Lines as near to each other as their labels allow. */
const degree_step = (unit) =>
  DEGREE_STEPS.find((step) => unit * step >= (WHOLE_DIGITS + decimals(step)) * DIGIT_PX + GAP_PX) ?? DEGREE_STEPS.at(-1);

function graticule(v) {
  const step = degree_step(v.unit);
  const parts = [];
  const lines = (from, to, draw) => {
    for (let n = Math.ceil(from / step); n * step <= to; n++) draw(n * step);
  };
  lines(v.middle.Long - v.span / 2, v.middle.Long + v.span / 2, (longitude) => {
    const x = v.x(longitude);
    parts.push(svg("line", { x1: x, x2: x, y1: 0, y2: height }));
    if (x > 20 && x < width - 20) parts.push(svg("text", { x: x + 2, y: 10 }, label(longitude, step)));
  });
  lines(Math.max(v.middle.Lat - v.height / 2, -90), Math.min(v.middle.Lat + v.height / 2, 90), (latitude) => {
    const y = v.y(latitude);
    parts.push(svg("line", { x1: 0, x2: width, y1: y, y2: y }));
    if (y > 20 && y < height - 24) parts.push(svg("text", { x: 3, y: y - 2 }, label(latitude, step)));
  });
  return svg("g", { class: "graticule" }, parts);
}

function scale_bar(v) {
  const room = SCALE_PX * v.km;
  const power = 10 ** Math.floor(Math.log10(room));
  const km = [5, 2, 1].map((factor) => factor * power).find((length) => length <= room);
  const length = km / v.km;
  const text =
    (km >= 1 ? `${km.toLocaleString("en")} km` : `${Math.round(km * 1000)} m`) + (zoom === 0 ? " at the equator" : "");
  return svg(
    "g",
    { class: "scale", transform: `translate(12 ${height - 12})` },
    svg("path", { d: `M0,-5V0H${length.toFixed(1)}V-5` }),
    svg("text", { x: length + 6, y: 0 }, text),
  );
}

function pin(v, { block, values }) {
  const [x, y] = [v.x(values.Long), v.y(values.Lat)];
  const error = Number(values.HorizontalError) / 1000 / v.km;
  return svg(
    "g",
    { class: `pin pin-${block}` },
    error > 4 ? svg("circle", { class: "error", cx: x, cy: y, r: Math.min(error, 2 * width) }) : null,
    svg("path", { d: `M${x},${y}l-7,-14a8,8 0 1 1 14,0z` }),
    svg("text", { x, y: y - 15 }, block),
  );
}

const told = (location) =>
  location !== null && Number.isFinite(location.values.Long) && Number.isFinite(location.values.Lat);
/** An empty block reads as zeros without a lock. */
const is_empty = ({ values }) => values.Long === 0 && values.Lat === 0 && !values.GISLockTime && !values.AreaCode;

const metres = (value) => (typeof value === "number" ? `${value} m` : value);

const FACTS = [
  ["Position", (values) => (is_empty({ values }) ? "none" : position(values.Lat, values.Long))],
  ["Altitude", (values) => metres(values.Altitudes)],
  ["Error across", (values) => metres(values.HorizontalError)],
  ["Error in height", (values) => metres(values.VerticalError)],
  [
    "Lock",
    (values) => (is_empty({ values }) ? "" : values.GISInterface === "" ? "open" : `by interface ${values.GISInterface}`),
  ],
  ["Client's stamp", (values) => stamp(String(values.GISLockTime ?? ""))],
  ["Area code", (values) => values.AreaCode],
  ["Digest", (values) => values.GISDigest],
];

function block_table(blocks) {
  const cell = (location, text) => h("td", null, location === null ? "–" : String(text(location.values) ?? "") || "–");
  const told_at = (location) =>
    h(
      "td",
      { class: "dim" },
      location === null ? "not told yet" : `${date_time(location.time)}, exchange ${location.exchange}`,
    );
  return h(
    "table",
    null,
    h(
      "thead",
      null,
      h(
        "tr",
        null,
        h("td"),
        blocks.map(({ block }) => h("th", { scope: "col" }, `Block ${block}`)),
      ),
    ),
    h(
      "tbody",
      null,
      FACTS.map(([name, text]) =>
        h(
          "tr",
          null,
          h("th", { scope: "row" }, name),
          blocks.map(({ location }) => cell(location, text)),
        ),
      ),
      h(
        "tr",
        null,
        h("th", { scope: "row" }, "Told"),
        blocks.map(({ location }) => told_at(location)),
      ),
    ),
  );
}

function draw() {
  const locations = chosen_gateway()?.locations ?? { A: null, B: null };
  const blocks = ["A", "B"].map((block) => ({ block, location: locations[block] ?? null }));
  const places = blocks
    .filter(({ location }) => told(location) && !is_empty(location))
    .map(({ block, location }) => ({ block, values: location.values }));
  width = by_id("map").clientWidth || 600;
  height = Math.round(width / 2);
  const now = JSON.stringify([locations, zoom, land !== null, width]);
  if (now === before) return;
  before = now;
  by_id("zoom-in").disabled = places.length === 0 || zoom === SPANS.length - 1;
  by_id("zoom-out").disabled = zoom === 0;
  const v = view(places);
  const names = places.map(({ block, values }) => `block ${block} at ${position(values.Lat, values.Long)}`).join(", ");
  fill(
    by_id("map"),
    svg(
      "svg",
      {
        viewBox: `0 0 ${width} ${height}`,
        role: "img",
        "aria-label": `Map, ${v.span} degrees wide: ${names || "no location"}`,
      },
      svg("rect", { class: "sea", width: width, height: height }),
      land === null ? null : land_path(v),
      graticule(v),
      scale_bar(v),
      places.toReversed().map((place) => pin(v, place)),
    ),
    places.length === 0 ? empty("No location known. It comes with an Inform0, or ask for NUVEK.GISInfoA.") : null,
    blocks.every(({ location }) => location === null) ? null : block_table(blocks),
  );
}

function zoom_by(step) {
  const next = zoom + step;
  if (next < 0 || next >= SPANS.length || by_id(step > 0 ? "zoom-in" : "zoom-out").disabled) return;
  zoom = next;
  draw();
}

export function begin() {
  by_id("zoom-in").onclick = () => zoom_by(1);
  by_id("zoom-out").onclick = () => zoom_by(-1);
  on("gateways size", draw);
  draw();
  fetch("/land/land-110m.json")
    .then((response) => response.json())
    .then((topology) => {
      land = rings_of(topology);
      draw();
    })
    .catch(() => {}); // without coast lines the graticule tells enough
}
