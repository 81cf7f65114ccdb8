// The speed curve of a site-speed result: Mbit/s, one figure a second.

import { empty, fact, h, svg } from "../dom.js";
import { nice_step } from "../format.js";
import { error_facts, result_panel } from "./results.js";

const [HEIGHT, LEFT, BOTTOM, TOP, RIGHT] = [240, 46, 36, 12, 10];

const round = (value) => Number(value.toFixed(2)).toLocaleString("en");

function axis_lines(most, seconds, x, y, width) {
  const parts = [];
  const step = nice_step(most, 5);
  for (let value = 0; value <= most * 1.001; value += step) {
    parts.push(
      svg("line", { class: "grid", x1: LEFT, x2: width - RIGHT, y1: y(value), y2: y(value) }),
      svg("text", { class: "end", x: LEFT - 6, y: y(value) + 4 }, round(value)),
    );
  }
  const second = Math.max(nice_step(seconds, 7), 1);
  for (let value = second; value <= seconds; value += second) {
    parts.push(svg("text", { class: "mid", x: x(value), y: HEIGHT - BOTTOM + 16 }, String(value)));
  }
  parts.push(
    svg("text", { class: "end", x: width - RIGHT, y: HEIGHT - 4 }, "seconds"),
    svg("text", { x: 4, y: HEIGHT - 4 }, "Mbit/s"),
  );
  return parts;
}

function curve(table, name, width) {
  const highest = Math.max(...table);
  const step = nice_step(highest || 1, 5);
  const most = Math.ceil((highest || 1) / step) * step;
  const x = (second) => LEFT + ((width - LEFT - RIGHT) * (second - 1)) / Math.max(table.length - 1, 1);
  const y = (value) => HEIGHT - BOTTOM - ((HEIGHT - TOP - BOTTOM) * value) / most;
  const points = table.map((value, index) => `${x(index + 1).toFixed(1)},${y(value).toFixed(1)}`);
  return svg(
    "svg",
    { class: "chart", viewBox: `0 0 ${width} ${HEIGHT}`, role: "img", "aria-label": name },
    axis_lines(most, table.length, x, y, width),
    svg("path", { class: "area", d: `M${LEFT},${y(0)}L${points.join("L")}L${x(table.length)},${y(0)}Z` }),
    svg("polyline", { class: "curve", points: points.join(" ") }),
    table.map((value, index) =>
      svg(
        "circle",
        { class: "dot", cx: x(index + 1), cy: y(value), r: 3 },
        svg("title", null, `second ${index + 1}: ${round(value)} Mbit/s`),
      ),
    ),
  );
}

function draw(result, width) {
  const table = (Array.isArray(result.SpeedTable) ? result.SpeedTable : []).filter(
    (value) => typeof value === "number" && value >= 0,
  );
  const mean = table.reduce((sum, value) => sum + value, 0) / table.length;
  const text =
    table.length && `mean ${round(mean)}, least ${round(Math.min(...table))}, most ${round(Math.max(...table))} Mbit/s`;
  return [
    table.length === 0
      ? empty("A result without figures.")
      : curve(table, `Speed over ${table.length} seconds: ${text}`, width),
    error_facts(result.Error),
    h(
      "dl",
      { class: "facts" },
      fact("Figures", text ? `${table.length} s: ${text}` : null),
      fact("From", result.DestUrl),
      fact("Address", result.DestIP),
      fact("Threads", result.Threads),
    ),
  ];
}

export const begin = () =>
  result_panel("speed", "SiteSpeed", "No speed test yet. A registration that was acknowledged starts one.", draw);
