// Starts every panel, then the stream of events that feeds them.

import { by_id, fill, h } from "./dom.js";
import { clock_time, count, date_time } from "./format.js";
import * as live from "./live.js";
import * as actions from "./panels/actions.js";
import * as back_off from "./panels/back_off.js";
import * as counters from "./panels/counters.js";
import * as desk from "./panels/desk.js";
import * as exchange from "./panels/exchange.js";
import * as gateways from "./panels/gateways.js";
import * as map from "./panels/map.js";
import * as network from "./panels/network.js";
import * as orders from "./panels/orders.js";
import * as route from "./panels/route.js";
import * as scenario from "./panels/scenario.js";
import * as sequence from "./panels/sequence.js";
import * as speed from "./panels/speed.js";
import { panel, state, tell } from "./state.js";

const CONNECTIONS = { connecting: "connecting…", live: "live", lost: "connection lost, trying again…" };

function draw_platform([platform, connection]) {
  const look = { live: "good", lost: "bad" }[connection] ?? "plain";
  return [
    h("span", { class: `badge ${look}`, id: "connection", "data-connection": connection }, CONNECTIONS[connection]),
    platform === null ? null : h("span", null, "gateways come to ", h("code", null, `${platform.address}:${platform.port}`)),
    platform === null
      ? null
      : h("span", { class: "dim" }, `version ${platform.version}, up since ${date_time(platform.started)}`),
    platform?.journal?.error ? h("span", { class: "bad-text" }, `journal: ${platform.journal.error}`) : null,
  ];
}

function lost([connection, since]) {
  if (connection !== "lost") return [];
  return `The platform does not answer since ${clock_time(since, false)}. What you see is as it was; this page comes back by itself.`;
}

let since = null;
panel("platform", "platform connection", () => [state.platform, state.connection], draw_platform);
panel(
  "lost",
  "connection",
  () => {
    if (state.connection !== "lost") since = null;
    else since ??= new Date().toISOString();
    return [state.connection, since];
  },
  lost,
);
panel(
  "count",
  "gateways",
  () => state.gateway_count,
  (number) => (number === 0 ? "" : count(number, "gateway")),
);

for (const part of [
  gateways,
  map,
  counters,
  sequence,
  exchange,
  speed,
  route,
  back_off,
  network,
  orders,
  scenario,
  actions,
  desk,
])
  part.begin();

let width = 0;
new ResizeObserver(() => {
  if (document.body.clientWidth === width) return;
  width = document.body.clientWidth;
  tell("size");
}).observe(document.body);

live.begin();
fill(by_id("script-missing"));
