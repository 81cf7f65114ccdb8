// One exchange byte for byte, with what the check found.

import { get } from "../api.js";
import { hex_dump, visible } from "../bytes.js";
import { by_id, empty, fact, h } from "../dom.js";
import { count, date_time, signed } from "../format.js";
import { attempt } from "../notice.js";
import { panel, state, tell } from "../state.js";
import { order_bytes } from "./actions.js";

let view = "text"; // or "hex"

function block(title, bytes) {
  const shown =
    view === "hex"
      ? hex_dump(bytes)
      : visible(bytes).map((piece) => (piece.escape ? h("span", { class: "escape" }, piece.text) : piece.text));
  return [
    h("h3", null, `${title} `, h("span", { class: "dim" }, count(bytes.length, "byte"))),
    bytes === ""
      ? empty("nothing was sent")
      : h("pre", { class: `bytes ${view}`, tabindex: "0", role: "region", "aria-label": `${title}, byte for byte` }, shown),
  ];
}

function findings(list) {
  if (list.length === 0) return h("p", { class: "good-text" }, "✓ The check found nothing wrong.");
  return h(
    "div",
    { class: "findings" },
    h("h3", null, count(list.length, "finding")),
    h(
      "ul",
      null,
      list.map((text) => h("li", null, text)),
    ),
  );
}

function draw([exchange]) {
  if (exchange === null) return empty("Choose an exchange in the sequence: its request and answer appear here.");
  const turn = (to) =>
    h(
      "button",
      {
        type: "button",
        "data-key": `view-${to}`,
        "aria-pressed": String(view === to),
        onclick: () => {
          view = to;
          tell("exchange");
        },
      },
      to === "hex" ? "Hexadecimal" : "Text",
    );
  return [
    h(
      "div",
      { class: "row spread" },
      h(
        "strong",
        null,
        `${exchange.number} · ${exchange.kind}${exchange.code === null ? "" : ` · code ${signed(exchange.code)}`}`,
      ),
      h("span", { class: "segments", role: "group", "aria-label": "Show bytes as" }, turn("text"), turn("hex")),
    ),
    findings(exchange.findings),
    block("Request", exchange.request),
    block("Answer", exchange.answer),
    h(
      "dl",
      { class: "facts" },
      fact("Answered", `${date_time(exchange.time)}, after ${exchange.took_ms} ms`),
      fact("From", exchange.peer),
      fact("Gateway", exchange.uuid && h("code", null, exchange.uuid)),
      fact("ID", exchange.id),
      fact("Path", exchange.path),
      fact("Outcome", exchange.outcome),
      fact("Decided by", exchange.by),
      fact("Fault", exchange.fault),
    ),
    exchange.answer === "" || exchange.kind === "SpeedTest"
      ? null
      : h(
          "button",
          { type: "button", "data-key": "again", onclick: () => order_bytes(exchange) },
          "Send this answer again…",
        ),
  ];
}

export function show(exchange) {
  state.exchange = exchange;
  tell("exchange");
  by_id("exchange-panel").scrollIntoView({ block: "nearest" });
}

/** Shows exchange `number`; one that came as an event has no bytes yet and is fetched. */
export async function open_exchange(number) {
  const known = state.exchanges.find((exchange) => exchange.number === number);
  await attempt(async () => show(known?.request === undefined ? await get(`exchanges/${number}`) : known));
}

export const begin = () => panel("exchange", "exchange", () => [state.exchange, view], draw);
