// The back-off as a time line: each refused speed result, how long the gateway has to wait, how long it did.

import { by_id, empty, fill, h, svg } from "../dom.js";
import { clock_time, date_time, duration, seconds_between, signed } from "../format.js";
import { chosen_gateway, on, state } from "../state.js";

const SHOWN = 6;
const [ROW, LABEL] = [38, 4];
let width = 560; // pixels; as wide as the panel
let offset_ms = 0; // the platform's clock less the browser's

const now = () => new Date(Date.now() + offset_ms).toISOString();

function row(entry, index, begin, span, time) {
  const at = (seconds) => (width * Math.min(Math.max(seconds, 0), span)) / span;
  const start = seconds_between(begin, entry.time);
  const waited = entry.waited_s ?? seconds_between(entry.time, time);
  const y = index * ROW;
  const left = entry.waited_s === null ? entry.expected_s - waited : null;
  const state_text =
    left === null
      ? `waited ${duration(entry.waited_s)}`
      : left > 0
        ? `${duration(Math.ceil(left))} to go`
        : `${duration(Math.floor(-left))} overdue`;
  const text = `${clock_time(entry.time, false)}  code ${signed(entry.code)}: wait ${duration(entry.expected_s)}, ${state_text}`;
  return svg(
    "g",
    null,
    svg("text", { x: LABEL, y: y + 13 }, text),
    svg("rect", {
      class: "expected",
      x: at(start),
      y: y + 19,
      width: Math.max(at(start + entry.expected_s) - at(start), 2),
      height: 10,
    }),
    svg("rect", {
      class: left === null ? "waited" : "waiting-now",
      x: at(start),
      y: y + 21,
      width: Math.max(at(start + waited) - at(start), 2),
      height: 6,
    }),
    svg("line", { class: "mark", x1: at(start), x2: at(start), y1: y + 17, y2: y + 31 }),
  );
}

function draw() {
  const all = chosen_gateway()?.back_off ?? [];
  if (all.length === 0) {
    return fill(
      by_id("back-off"),
      empty(
        "No speed result was refused. One that is answered −3 or −2 is sent again after 10 s, then 20 s, 40 s, up to 5,120 s.",
      ),
    );
  }
  width = by_id("back-off").clientWidth || 560;
  const list = all.slice(-SHOWN);
  const time = now();
  const begin = list[0].time;
  const ends = list.map(
    (entry) =>
      seconds_between(begin, entry.time) + Math.max(entry.expected_s, entry.waited_s ?? seconds_between(entry.time, time)),
  );
  const span = Math.max(...ends);
  const height = list.length * ROW + 20;
  fill(
    by_id("back-off"),
    svg(
      "svg",
      {
        class: "chart time-line",
        viewBox: `0 0 ${width} ${height}`,
        role: "img",
        "aria-label": `Back-off: ${all.length} refused results`,
      },
      list.map((entry, index) => row(entry, index, begin, span, time)),
      svg("line", { class: "axis", x1: 0, x2: width, y1: height - 17, y2: height - 17 }),
      svg("text", { x: LABEL, y: height - 4 }, clock_time(begin, false)),
      svg("text", { class: "end", x: width - LABEL, y: height - 4 }, `+ ${duration(span)}`),
    ),
    h(
      "p",
      { class: "dim" },
      h("span", { class: "key expected" }),
      " to be waited ",
      h("span", { class: "key waited" }),
      " waited. ",
      `Begins ${date_time(begin)}${all.length > SHOWN ? `; ${all.length - SHOWN} earlier ones not shown` : ""}.`,
    ),
  );
}

const waiting = () => (chosen_gateway()?.back_off ?? []).some((entry) => entry.waited_s === null);

export function begin() {
  on("gateways size", draw);
  on("platform", () => {
    offset_ms = Date.parse(state.platform.time) - Date.now();
  });
  setInterval(() => waiting() && document.visibilityState === "visible" && draw(), 1000);
  draw();
}
