// The answers that were ordered and wait for their requests.

import { remove } from "../api.js";
import { typed } from "../bytes.js";
import { empty, h } from "../dom.js";
import { count, signed } from "../format.js";
import { attempt } from "../notice.js";
import { panel, state } from "../state.js";

const BEGINNING = 60;

function what(order) {
  if (order.code !== null) return `code ${signed(order.code)}`;
  if (order.fault !== null)
    return `fault ${order.fault}${order.fault === "two_pieces" ? `, ${order.gap_ms} ms between` : ""}`;
  const text = typed(order.bytes).replaceAll("\n", "");
  return `${count(order.bytes.length, "byte")}: ${text.slice(0, BEGINNING)}${text.length > BEGINNING ? "…" : ""}`;
}

const whom = (order) => (order.uuid === null ? "any gateway" : (state.gateways.get(order.uuid)?.reg_id ?? order.uuid));

function row(order) {
  const take_back = () =>
    attempt(async () => {
      await remove(`answers/${order.number}`);
      return `Order ${order.number} is taken back`;
    });
  return h(
    "li",
    { class: "row spread" },
    h(
      "span",
      null,
      h("strong", null, order.kind ?? "any message"),
      ` of ${whom(order)}: `,
      h("span", { class: "mono" }, what(order)),
      h("span", { class: "dim" }, ` ${order.left} of ${order.times} left`),
    ),
    h(
      "button",
      {
        type: "button",
        "data-key": `order-${order.number}`,
        "aria-label": `Take back order ${order.number}`,
        onclick: take_back,
      },
      "Take back",
    ),
  );
}

function draw([orders]) {
  if (orders.length === 0) return empty("Nothing ordered: the scenario decides every answer.");
  const all = () =>
    attempt(async () => {
      await remove("answers");
      return "All orders are taken back";
    });
  return [
    h("ol", { class: "plain-list lines" }, orders.map(row)),
    orders.length > 1 ? h("button", { type: "button", "data-key": "all-orders", onclick: all }, "Take back all") : null,
  ];
}

export const begin = () =>
  panel(
    "orders",
    "answers gateways",
    () => [state.answers, [...state.gateways.values()].map((gateway) => gateway.reg_id)],
    draw,
  );
