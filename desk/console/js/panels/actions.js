// The buttons: what the chosen gateway is asked and answered, and what the desk does with its own gateway.

import { gateway_path, post } from "../api.js";
import { literal, typed } from "../bytes.js";
import { by_id, fill, h } from "../dom.js";
import { count, signed } from "../format.js";
import { load_desk } from "../live.js";
import { attempt } from "../notice.js";
import { chosen_gateway, on, panel, state, tell } from "../state.js";

const number_in = (form, name) => (form.get(name).trim() === "" ? undefined : Number(form.get(name)));

async function ask_get(form) {
  await post(gateway_path(state.chosen) + "/gets", { path: form.get("path") });
  return `${form.get("path")} is asked at the gateway's next contact`;
}

/** The members that every order has. */
const order_for = (form) => ({
  ...(form.get("kind") ? { kind: form.get("kind") } : {}),
  ...(form.get("whom") === "this" ? { uuid: state.chosen } : {}),
  times: number_in(form, "times"),
});

async function order_code(form) {
  const order = await post("answers", { ...order_for(form), code: number_in(form, "code") });
  return `The next ${count(order.times, `${order.kind} is`, `${order.kind} are`)} answered ${signed(order.code)}`;
}

async function order_broken(form) {
  const fault = form.get("fault");
  const what = fault === "" ? { bytes: literal(form.get("bytes")) } : { fault };
  if (fault === "two_pieces") what.gap_ms = number_in(form, "gap_ms");
  const order = await post("answers", { ...order_for(form), ...what });
  return `Order ${order.number} waits for ${order.kind === null ? "the next message" : `the next ${order.kind}`}`;
}

async function post_location(form) {
  const body = {};
  for (const [name, value] of form)
    if (value.trim() !== "") body[name] = /Code|Digest|Stamp/.test(name) ? value : Number(value);
  const { done, answer } = await post("desk/location", body);
  tell("local", `location posted: ${JSON.stringify(answer)}`);
  return `${done}. The agent answered ${JSON.stringify(answer)}`;
}

/** A form in a dialog: closed when its action went well, else it says why not. */
function dialog(name, submit, prepare = () => {}) {
  const box = by_id(`${name}-dialog`);
  const form = box.querySelector("form");
  const error = box.querySelector(".error");
  const open = (...filled) => {
    error.hidden = true;
    prepare(form.elements, ...filled);
    box.showModal();
  };
  by_id(`${name}-button`)?.addEventListener("click", () => open());
  box.querySelector("[data-cancel]").onclick = () => box.close();
  form.onsubmit = async (event) => {
    event.preventDefault();
    const well = await attempt(() => submit(new FormData(form)));
    if (well) return box.close();
    error.textContent = by_id("notice").textContent;
    error.hidden = false;
  };
  return open;
}

const desk_action =
  (path, body = {}) =>
  () =>
    attempt(async () => {
      const { done } = await post("desk/" + path, body);
      await load_desk();
      return done;
    });

const options = (list) => list.map((value) => h("option", { value }, value));

function fill_choices() {
  const { kinds, faults, packages } = state.platform;
  fill(by_id("packages"), options(packages));
  fill(
    by_id("fault-kind"),
    h("option", { value: "" }, "any message"),
    options(kinds.filter((kind) => kind !== "SpeedTest")),
  );
  fill(by_id("fault-name"), options(faults), h("option", { value: "" }, "literal bytes"));
  tell("fault-choice");
}

function fault_choice() {
  const fault = by_id("fault-name").value;
  by_id("gap-row").hidden = fault !== "two_pieces";
  by_id("bytes-row").hidden = fault !== "";
}

let open_broken;

/** Opens the dialog for a broken answer with an exchange's answer as literal bytes. */
export const order_bytes = (exchange) => open_broken({ fault: "", bytes: typed(exchange.answer), kind: exchange.kind });

function prepare_broken(fields, given = null) {
  if (given !== null) for (const [name, value] of Object.entries(given)) fields[name].value = value;
  fault_choice();
}

function show_what_is_possible() {
  for (const button of document.querySelectorAll("[data-needs='gateway']")) button.disabled = chosen_gateway() === null;
  for (const part of document.querySelectorAll("[data-needs='desk']")) part.hidden = state.desk === null;
}

export function begin() {
  dialog("get", ask_get);
  dialog("answer", order_code);
  open_broken = dialog("broken", order_broken, prepare_broken);
  dialog("location", post_location, (fields) => {
    fields.TimeStamp.value = Math.floor(Date.now() / 1000);
  });
  dialog("power", async () => {
    const { done } = await post("desk/power-cut", {});
    await load_desk();
    return done;
  });
  by_id("fault-name").onchange = fault_choice;
  by_id("report-button").onclick = desk_action("report");
  by_id("unlock-button").onclick = desk_action("unlock");
  by_id("restart-button").onclick = desk_action("agent", { do: "restart" });
  on("platform", fill_choices);
  on("gateways desk", show_what_is_possible);
  show_what_is_possible();
  panel(
    "answer-times-note",
    "gateways",
    () => chosen_gateway()?.reg_id ?? null,
    (name) => (name === null ? "" : `“This gateway” is ${name}.`),
  );
}

export { desk_action };
