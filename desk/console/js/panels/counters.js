// The gateway's counters beside what this platform counted of the same things.

import { empty, h } from "../dom.js";
import { date_time, signed } from "../format.js";
import { chosen_gateway, panel } from "../state.js";

const COUNTERS = [
  ["SuccessInform", "reports sent"],
  ["FailInform", "reports not sent"],
  ["SuccessResult", "results answered with 0"],
  ["FailResult", "results answered otherwise"],
  ["SuccessTask", "tests with figures"],
  ["FailTask", "tests without figures"],
];

// 32 bits, printed as a signed number: from 2^31 on it comes as a negative one.
const unsigned = (value) => (typeof value === "number" ? value >>> 0 : null);

function row([name, meaning], gateway, platform) {
  const [theirs, ours] = [unsigned(gateway[name]), platform[name] ?? null];
  const differs = theirs !== null && ours !== null && theirs !== ours;
  const verdict = ours === null ? "not seen from here" : differs ? `differs by ${signed(theirs - ours)}` : "the same";
  return h(
    "tr",
    { class: differs ? "differs" : null },
    h("th", { scope: "row" }, name, h("span", { class: "dim block" }, meaning)),
    h("td", { class: "number" }, theirs === null ? "–" : theirs.toLocaleString("en")),
    h("td", { class: "number" }, ours === null ? "–" : ours.toLocaleString("en")),
    h("td", null, differs ? h("strong", { class: "bad-text" }, "≠ ", verdict) : h("span", { class: "dim" }, verdict)),
  );
}

function draw(counters) {
  if (!counters) return empty("Not told yet. Ask for NUVEK.Counter.");
  return [
    h(
      "table",
      null,
      h(
        "thead",
        null,
        h(
          "tr",
          null,
          ["Counter", "Gateway", "Platform", ""].map((text) =>
            h(
              "th",
              { scope: "col", class: text.endsWith("y") || text.endsWith("m") ? "number" : null },
              text || h("span", { class: "hidden" }, "Difference"),
            ),
          ),
        ),
      ),
      h(
        "tbody",
        null,
        COUNTERS.map((counter) => row(counter, counters.gateway, counters.platform)),
      ),
    ),
    h("p", { class: "dim" }, `As told ${date_time(counters.time)} (exchange ${counters.exchange}).`),
  ];
}

export const begin = () => panel("counters", "gateways", () => chosen_gateway()?.counters ?? null, draw);
