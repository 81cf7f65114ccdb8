// The desk's own gateway: its agent, its clock gate, its store and its log.

import { get, put } from "../api.js";
import { by_id, empty, fact, fill, h } from "../dom.js";
import { date_time, signed } from "../format.js";
import { attempt } from "../notice.js";
import { on, panel, state, tell } from "../state.js";
import { desk_action } from "./actions.js";

const LOG_MS = 1500;
const LOG_KEPT = 65536;
let log_next = null;

const STATES = { running: "good", stopped: "plain", ended: "bad" };

function agent_state(agent) {
  const status = agent.status === null ? "" : ` with status ${signed(agent.status)}`;
  return h(
    "span",
    { class: `badge ${STATES[agent.state] ?? "plain"}` },
    agent.state + (agent.state === "ended" ? status : ""),
  );
}

function draw(desk) {
  if (desk === null) return [];
  if (desk.error) return h("p", { class: "bad-text" }, `The desk does not answer: ${desk.error}`);
  const button = (text, path, body) =>
    h("button", { type: "button", "data-key": text, onclick: desk_action(path, body) }, text);
  const running = desk.agent.state === "running";
  return [
    h(
      "dl",
      { class: "facts" },
      fact("Story", desk.story),
      fact("Agent", [
        agent_state(desk.agent),
        ` since ${date_time(desk.agent.since)}`,
        desk.agent.pid && running ? `, process ${desk.agent.pid}` : "",
      ]),
      fact(
        "Clock gate",
        desk.clock.open ? "open: the agent takes its clock for synchronised" : "closed: the agent waits for the right time",
      ),
      fact(
        "The agent's time",
        `${date_time(desk.time.now)}${desk.time.speed === 1 ? "" : `, running ${desk.time.speed} times as fast`}`,
      ),
      fact("Files under", h("code", null, desk.gateway.root)),
    ),
    h(
      "div",
      { class: "row" },
      running
        ? [button("Stop the agent", "agent", { do: "stop" }), button("Restart the agent now", "agent", { do: "restart" })]
        : button("Start the agent", "agent", { do: "start" }),
      desk.clock.open
        ? button("Close the clock gate", "clock", { open: false })
        : button("Open the clock gate", "clock", { open: true }),
      button("Restart the platform", "platform", { do: "restart" }),
    ),
  ];
}

async function load_store() {
  if (state.desk === null || state.desk.error) return;
  state.store = (await get("desk/store")).nodes;
  tell("store");
}

function edit(node, attr, value) {
  const fields = by_id("store-form").elements;
  [fields.node.value, fields.attr.value, fields.value.value] = [node, attr, value];
  fields.value.focus();
  fields.value.select();
}

function draw_store([store, filter]) {
  if (store === null) return empty("The store has not been read yet.");
  const wanted = (text) => text.toLowerCase().includes(filter);
  const rows = Object.entries(store).flatMap(([node, values]) =>
    Object.entries(values)
      .filter(([attr, value]) => wanted(`${node} ${attr} ${value}`))
      .map(([attr, value]) =>
        h(
          "tr",
          null,
          h("td", { class: "dim" }, node),
          h("th", { scope: "row" }, attr),
          h("td", { class: "mono" }, value),
          h(
            "td",
            null,
            h(
              "button",
              {
                type: "button",
                "data-key": `${node}/${attr}`,
                "aria-label": `Edit ${node} ${attr}`,
                onclick: () => edit(node, attr, value),
              },
              "Edit",
            ),
          ),
        ),
      ),
  );
  if (rows.length === 0) return empty("Nothing in the store reads so.");
  return h(
    "table",
    null,
    h(
      "thead",
      null,
      h(
        "tr",
        null,
        ["Node", "Attribute", "Value", ""].map((text) =>
          h("th", { scope: "col" }, text || h("span", { class: "hidden" }, "Edit")),
        ),
      ),
    ),
    h("tbody", null, rows),
  );
}

async function set_value(event) {
  event.preventDefault();
  const form = new FormData(event.target);
  await attempt(async () => {
    const { done } = await put("desk/store", { node: form.get("node"), attr: form.get("attr"), value: form.get("value") });
    await load_store();
    return done;
  });
}

async function load_log() {
  if (state.desk === null || document.visibilityState !== "visible") return;
  const box = by_id("log");
  const part = await get(log_next === null ? "desk/log" : `desk/log?after=${log_next}`);
  const begins_anew = log_next !== null && part.from !== log_next;
  log_next = part.next;
  by_id("log-empty").hidden = part.size > 0;
  if (part.text === "" && !begins_anew) return;
  const at_bottom = box.scrollHeight - box.scrollTop - box.clientHeight < 40;
  box.textContent = ((begins_anew ? "" : box.textContent) + part.text).slice(-LOG_KEPT);
  if (at_bottom) box.scrollTop = box.scrollHeight;
}

export function begin() {
  panel("desk", "desk", () => state.desk, draw);
  panel("store", "store store-filter", () => [state.store, by_id("store-filter").value.toLowerCase()], draw_store);
  by_id("store-filter").oninput = () => tell("store-filter");
  by_id("store-form").onsubmit = set_value;
  by_id("save-button").onclick = desk_action("store/save");
  on("store", () =>
    fill(
      by_id("nodes"),
      Object.keys(state.store).map((node) => h("option", { value: node })),
    ),
  );
  on("desk", () => load_store().catch(() => {}));
  setInterval(
    () =>
      load_log().catch(() => {
        log_next = null;
      }),
    LOG_MS,
  );
}
