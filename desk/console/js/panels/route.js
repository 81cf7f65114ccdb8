// The trace-route as a path: from the gateway hop by hop to its target, with three times each.

import { empty, fact, h, svg } from "../dom.js";
import { error_facts, result_panel } from "./results.js";

const ROUNDS = 3;

/** A row's pairs of host and time; a time that did not come is null. */
function pairs(row) {
  const list = [];
  for (let at = 0; at < row.length; at += 2)
    list.push({ host: String(row[at]), ms: typeof row[at + 1] === "number" ? row[at + 1] : null });
  return list.slice(0, ROUNDS);
}

function bar(ms, most) {
  const width = ms === null ? 0 : Math.max((100 * ms) / most, 1);
  return h(
    "span",
    { class: "time-bar" },
    svg(
      "svg",
      { viewBox: "0 0 100 6", preserveAspectRatio: "none", "aria-hidden": "true" },
      svg("rect", { class: "track", width: 100, height: 6 }),
      svg("rect", { class: "bar", width, height: 6 }),
    ),
    h("span", { class: "number" }, ms === null ? "no answer" : `${ms} ms`),
  );
}

function hop(row, index, most) {
  const list = pairs(row);
  const hosts = [...new Set(list.map((pair) => pair.host).filter((host) => host !== "*"))];
  const silent = list.every((pair) => pair.ms === null);
  return h(
    "li",
    { class: silent ? "hop silent" : "hop" },
    h("span", { class: "stop", "aria-hidden": "true" }, String(index + 1)),
    h("strong", null, hosts.join(", ") || "no answer"),
    h(
      "span",
      { class: "times" },
      list.map((pair) => bar(pair.ms, most)),
    ),
  );
}

function draw(result) {
  const rows = (Array.isArray(result.PathTable) ? result.PathTable : []).filter(Array.isArray);
  const times = rows.flatMap(pairs).map((pair) => pair.ms ?? 0);
  return [
    rows.length === 0
      ? empty("A result without a path.")
      : h(
          "ol",
          { class: "route" },
          h(
            "li",
            { class: "hop" },
            h("span", { class: "stop end", "aria-hidden": "true" }),
            h("strong", null, "the gateway"),
          ),
          rows.map((row, index) => hop(row, index, Math.max(...times, 0.001))),
        ),
    error_facts(result.Error),
    h(
      "dl",
      { class: "facts" },
      fact("Target", result.DestIP || "its name did not resolve"),
      fact("Method", result.Method),
      fact("Farthest", result.MaxTTL === undefined ? null : `${result.MaxTTL} hops`),
    ),
  ];
}

export const begin = () =>
  result_panel("route", "TraceRoute", "No trace-route yet. A registration that was acknowledged starts one.", draw);
