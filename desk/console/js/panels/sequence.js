// The exchanges as a sequence diagram, live: the newest at the bottom. A click or Enter shows one byte for byte.

import { by_id, h } from "../dom.js";
import { clock_time, count, duration, seconds_between, signed } from "../format.js";
import { show_everyone } from "../live.js";
import { on, state } from "../state.js";
import { open_exchange } from "./exchange.js";

const GAP_S = 1; // a longer silence is told
const AT_BOTTOM_PX = 60;
const rows = new Map(); // number -> list item

const name_of = (uuid) => state.gateways.get(uuid)?.reg_id ?? (uuid === "" ? "" : uuid.slice(0, 8));

function asked(exchange) {
  const path = exchange.path ?? "";
  const text =
    {
      Inform0: "Inform0",
      Report: "Report",
      SiteSpeed: "Result SiteSpeed",
      TraceRoute: "Result TraceRoute",
      GetResponse: `GetResponse ${path}`,
      SpeedTest: `Download ${path}`,
      Bad: `Bad ${path}`,
    }[exchange.kind] ?? exchange.kind;
  const code = exchange.kind === "GetResponse" && exchange.code !== null ? `, code ${signed(exchange.code)}` : "";
  return text + code + (exchange.id === null ? "" : `, ID\u00a0${exchange.id}`);
}

const BY = { console: "ordered here", replay: "replayed" };

function answered(exchange) {
  const words = (exchange.outcome ?? "").replace(/ -(?=\d)/g, " \u2212");
  return [words, BY[exchange.by], exchange.fault && `fault ${exchange.fault}`].filter(Boolean).join(" · ");
}

const arrow = (look) => h("span", { class: `arrow ${look}`, "aria-hidden": "true" });

function gap(exchange, before) {
  const seconds = before === undefined ? 0 : seconds_between(before.time, exchange.time);
  return seconds < GAP_S ? null : h("span", { class: "gap" }, h("span", { class: "silence" }, `${duration(seconds)} later`));
}

/** Which gateway, where that is a question. */
const from = (uuid) => (state.everyone && state.gateways.size > 1 ? name_of(uuid) : "");

function item(exchange, before) {
  const bad = exchange.findings.length > 0;
  return h(
    "li",
    null,
    gap(exchange, before),
    h(
      "button",
      {
        type: "button",
        class: `exchange${bad ? " bad" : ""}`,
        tabindex: "-1",
        "data-number": exchange.number,
        onclick: () => open_exchange(exchange.number),
      },
      h(
        "span",
        { class: "when" },
        h("span", { class: "mono" }, clock_time(exchange.time)),
        h("span", { class: "dim" }, `${exchange.number} `, h("span", { "data-from": exchange.uuid }, from(exchange.uuid))),
        bad ? h("span", { class: "badge bad" }, count(exchange.findings.length, "finding")) : null,
      ),
      h(
        "span",
        { class: "lane" },
        exchange.request_bytes === 0
          ? h("span", { class: "said dim" }, "nothing came")
          : [h("span", { class: "said" }, asked(exchange)), arrow("right")],
        exchange.answer_bytes === 0
          ? [h("span", { class: "said back" }, answered(exchange) || "no answer"), arrow("left cut")]
          : [h("span", { class: "said back" }, answered(exchange)), arrow(exchange.fault ? "left fault" : "left")],
      ),
    ),
  );
}

function mark_shown() {
  const shown = state.exchange?.number;
  for (const [number, row] of rows) {
    const button = row.querySelector("button");
    if (number === shown) button.setAttribute("aria-current", "true");
    else button.removeAttribute("aria-current");
  }
}

/** One row can be reached with Tab: the one that had the focus last, else the newest. */
function keep_one_reachable() {
  const list = by_id("sequence");
  const now = list.querySelector("button[tabindex='0']");
  if (now === list.querySelector("li:last-child button") || now?.dataset.visited) return;
  now?.setAttribute("tabindex", "-1");
  list.querySelector("li:last-child button")?.setAttribute("tabindex", "0");
}

function draw() {
  const list = by_id("sequence");
  const box = by_id("sequence-box");
  const at_bottom = box.scrollHeight - box.scrollTop - box.clientHeight < AT_BOTTOM_PX;
  const numbers = new Set(state.exchanges.map((exchange) => exchange.number));
  const last = Math.max(0, ...rows.keys());
  const rebuild = state.exchanges.some((exchange) => exchange.number < last && !rows.has(exchange.number));
  for (const [number, row] of rows) {
    if (rebuild || !numbers.has(number)) {
      row.remove();
      rows.delete(number);
    }
  }
  state.exchanges.forEach((exchange, index) => {
    if (rows.has(exchange.number)) return;
    const row = item(exchange, state.exchanges[index - 1]);
    rows.set(exchange.number, row);
    list.append(row);
  });
  by_id("sequence-empty").hidden = rows.size > 0;
  by_id("sequence-heads").hidden = rows.size === 0;
  keep_one_reachable();
  mark_shown();
  if (at_bottom) box.scrollTop = box.scrollHeight;
}

/** A name may be given after the first exchange, and one gateway needs none until a second one comes. */
function draw_names() {
  for (const part of by_id("sequence").querySelectorAll("[data-from]")) {
    const name = from(part.dataset.from);
    if (part.textContent !== name) part.textContent = name;
  }
}

const STEPS = { ArrowDown: (at) => at + 1, ArrowUp: (at) => at - 1, Home: () => 0, End: (_, last) => last };

function move(event) {
  const step = STEPS[event.key];
  const buttons = [...by_id("sequence").querySelectorAll("button")];
  const at = buttons.indexOf(document.activeElement);
  if (step === undefined || at < 0) return;
  event.preventDefault();
  const next = buttons[Math.min(Math.max(step(at, buttons.length - 1), 0), buttons.length - 1)];
  buttons[at].setAttribute("tabindex", "-1");
  delete buttons[at].dataset.visited;
  next.setAttribute("tabindex", "0");
  next.dataset.visited = "yes";
  next.focus();
}

export function begin() {
  by_id("sequence").addEventListener("keydown", move);
  by_id("everyone").onchange = (event) => show_everyone(event.target.value === "all");
  on("exchanges", draw);
  on("exchange", mark_shown);
  on("gateways exchanges", draw_names);
  draw();
}
