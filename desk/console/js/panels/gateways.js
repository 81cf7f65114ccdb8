// The list of gateways, and what is known of the chosen one.

import { remove, gateway_path } from "../api.js";
import { empty, fact, h } from "../dom.js";
import { clock_time, count, date_time, device_time } from "../format.js";
import { choose, more_gateways } from "../live.js";
import { attempt } from "../notice.js";
import { chosen_gateway, panel, state } from "../state.js";

const badge = (text, look) => h("span", { class: `badge ${look}` }, text);

/** Locked: the last location it told of names a posting interface's lock. */
function locked(gateway) {
  const told = gateway.locations?.A?.values ?? gateway.device?.values;
  if (told?.GISInterface === undefined) return null;
  return told.GISInterface !== "";
}

function badges(gateway) {
  const lock = locked(gateway);
  return h(
    "span",
    { class: "badges" },
    gateway.registered ? badge("registered", "good") : badge("not registered", "plain"),
    lock === null ? null : lock ? badge("location locked", "plain") : badge("location open", "good"),
    gateway.findings > 0 ? badge(count(gateway.findings, "finding"), "bad") : null,
  );
}

const total = (gateway) => Object.values(gateway.received).reduce((sum, number) => sum + number, 0);

function row(gateway) {
  const chosen = gateway.uuid === state.chosen;
  return h(
    "li",
    null,
    h(
      "button",
      {
        type: "button",
        class: "gateway",
        "data-key": gateway.uuid,
        "aria-current": chosen ? "true" : null,
        onclick: () => choose(gateway.uuid),
      },
      h("strong", null, gateway.reg_id ?? "not registered"),
      h("span", { class: "mono dim" }, gateway.uuid),
      h(
        "span",
        { class: "dim" },
        `${gateway.address} · ${count(total(gateway), "message")} · last ${clock_time(gateway.last_seen, false)}`,
      ),
      gateway.findings > 0 ? badge(count(gateway.findings, "finding"), "bad") : null,
    ),
  );
}

function draw_list() {
  if (state.gateways.size === 0) return empty("No gateway has come yet. One appears here with its first message.");
  const hidden = state.gateway_count - state.gateways.size;
  return [
    h("ul", { class: "plain-list" }, [...state.gateways.values()].map(row)),
    hidden > 0
      ? h(
          "button",
          { type: "button", "data-key": "more", onclick: () => attempt(more_gateways) },
          `Show more of ${hidden} others`,
        )
      : null,
  ];
}

function waiting(gateway) {
  if (gateway.waiting.length === 0) return null;
  const take_back = () =>
    attempt(async () => {
      await remove(gateway_path(gateway.uuid) + "/gets");
      return "Taken back what was not asked yet";
    });
  return [
    h("h3", null, "Questions waiting"),
    h(
      "ul",
      { class: "waiting" },
      gateway.waiting.map((get) =>
        h("li", null, h("code", null, get.path), get.id === null ? " for its next contact" : ` asked as ${get.id}`),
      ),
    ),
    gateway.waiting.some((get) => get.id === null)
      ? h("button", { type: "button", "data-key": "take-back", onclick: take_back }, "Take back")
      : null,
  ];
}

function identity(gateway) {
  const device = gateway.device?.values ?? {};
  return h(
    "dl",
    { class: "facts" },
    fact("UUID", h("code", null, gateway.uuid)),
    fact("Registration", gateway.reg_id),
    fact("Address", gateway.address),
    fact("First seen", date_time(gateway.first_seen)),
    fact("Last seen", date_time(gateway.last_seen)),
    fact("Vendor, model", [device.VendorID, device.ModelStr].filter(Boolean).join(" ")),
    fact("Software", device.SoftVer),
    fact("Serial number", device.SerialNum),
    fact("Operator", device.OperatorID),
    fact("Uplink", device.Uplink),
    fact("WAN, device MAC", [device.WANMAC, device.DevMAC].filter(Boolean).join(", ")),
    fact("Device time", device.DeviceTime === undefined ? null : device_time(String(device.DeviceTime))),
    fact(
      "Messages",
      Object.entries(gateway.received)
        .filter(([, number]) => number > 0)
        .map(([kind, number]) => `${number} ${kind}`)
        .join(", "),
    ),
  );
}

function draw_identity(gateway) {
  if (gateway === null) return empty("Choose a gateway, or wait for the first one.");
  return [
    badges(gateway),
    identity(gateway),
    gateway.device === null
      ? empty("It has not told who it is: that comes with its Inform0, or ask for NUVEK.DeviceInfo.")
      : null,
    waiting(gateway),
  ];
}

const table = (caption, rows, columns) =>
  h(
    "div",
    { class: "scroll", tabindex: "0", role: "region", "aria-label": caption },
    h(
      "table",
      null,
      h("caption", null, caption),
      h(
        "thead",
        null,
        h(
          "tr",
          null,
          columns.map((column) => h("th", { scope: "col" }, column)),
        ),
      ),
      h(
        "tbody",
        null,
        rows.map((item) =>
          h(
            "tr",
            null,
            columns.map((column) => h("td", null, String(item?.[column] ?? ""))),
          ),
        ),
      ),
    ),
  );

function draw_interfaces(gateway) {
  const values = gateway?.interface?.values;
  if (!values) return empty("Not told yet. Ask for NUVEK.Interface.");
  const list = (value) => (Array.isArray(value) ? value : []);
  return [
    table("Interfaces", list(values.InterfaceTable), ["Name", "LocalIP", "Mask", "RemoteIP", "MTU", "PhyAddr"]),
    table("Routes", list(values.RouteTable), ["Dest", "Mask", "Gateway", "Iface", "Metric", "Flags"]),
    h("dl", { class: "facts" }, fact("Name servers", [values.DNS1, values.DNS2].filter(Boolean).join(", ") || "none")),
  ];
}

export function begin() {
  panel("gateways", "gateways", () => [[...state.gateways.values()], state.chosen, state.gateway_count], draw_list);
  panel(
    "gateway-name",
    "gateways",
    () => chosen_gateway()?.reg_id ?? chosen_gateway()?.uuid ?? null,
    (name) => name ?? "No gateway yet",
  );
  panel("identity", "gateways", chosen_gateway, draw_identity);
  panel("interfaces", "gateways", () => chosen_gateway() && { interface: chosen_gateway().interface }, draw_interfaces);
}
