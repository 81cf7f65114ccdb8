// The network of the desk, lit where a message passes. What the platform cannot see (a name asked for, a ping) stays dark.

import { by_id, fill, h, svg } from "../dom.js";
import { clock_time } from "../format.js";
import { on, state } from "../state.js";

const PLAIN = {
  // without a desk behind the platform only the two ends are known
  hosts: [
    { name: "gw", title: "gateways", addresses: [] },
    { name: "net", title: "network", addresses: [] },
    { name: "plat", title: "platform", addresses: [] },
  ],
  links: [
    ["gw", "net"],
    ["net", "plat"],
  ],
};
const LIT_MS = 1200;
const NARROW_PX = 620;
let before;

const network = () => state.desk?.network ?? PLAIN;
const link_key = (one, other) => [one, other].sort().join("--");

/** Each host's distance from the first one, and its place among those as far away. */
function places(hosts, links) {
  const found = new Map([[hosts[0].name, { depth: 0, rank: 0 }]]);
  const ranks = [1];
  for (const [name, { depth }] of found) {
    // grows while it is walked
    for (const link of links.filter((pair) => pair.includes(name))) {
      const next = link[0] === name ? link[1] : link[0];
      if (found.has(next)) continue;
      ranks[depth + 1] ??= 0;
      found.set(next, { depth: depth + 1, rank: ranks[depth + 1]++ });
    }
  }
  return { found, ranks };
}

/** The names of the hosts on the way between two. */
function way(from, to, links) {
  const ways = new Map([[from, [from]]]);
  for (const [name, path] of ways) {
    if (name === to) return path;
    for (const link of links.filter((pair) => pair.includes(name))) {
      const next = link[0] === name ? link[1] : link[0];
      if (!ways.has(next)) ways.set(next, [...path, next]);
    }
  }
  return [];
}

function host(entry, [x, y], width) {
  const address = entry.addresses[0] ?? "";
  const more = entry.addresses.length > 1 ? ` +${entry.addresses.length - 1}` : "";
  return svg(
    "g",
    { class: "host", "data-host": entry.name, transform: `translate(${x.toFixed(1)} ${y})` },
    svg("title", null, [entry.title, ...entry.addresses].join(" ")),
    svg("rect", { x: -width / 2, y: -22, width, height: 44, rx: 8 }),
    svg("text", { class: "mid title", y: address ? -3 : 5 }, entry.title),
    address ? svg("text", { class: "mid small", y: 13 }, address + more) : null,
  );
}

function draw() {
  const { hosts, links } = network();
  const wide = by_id("network").clientWidth || 900;
  const now = JSON.stringify([hosts, links, wide]);
  if (now === before) return;
  before = now;
  const { found, ranks } = places(hosts, links);
  const upright = wide < NARROW_PX;
  const depth_step = upright ? 76 : wide / ranks.length;
  const most = Math.max(...ranks);
  const across = upright ? wide / most : 64;
  const box = Math.min(upright ? across - 16 : depth_step - 28, 132);
  const spot = (name) => {
    const { depth, rank } = found.get(name);
    const side = (rank + 0.5 + (most - ranks[depth]) / 2) * across;
    const along = (depth + 0.5) * depth_step;
    return upright ? [side, along] : [along, side];
  };
  const height = upright ? ranks.length * depth_step : Math.max(most * across, 70);
  const lines = links.map(([one, other]) => {
    const [[x1, y1], [x2, y2]] = [spot(one), spot(other)];
    return svg("line", { class: "link", "data-link": link_key(one, other), x1, y1, x2, y2 });
  });
  const names = hosts.map((entry) => entry.title).join(", ");
  fill(
    by_id("network"),
    svg(
      "svg",
      { viewBox: `0 0 ${wide} ${height}`, role: "img", "aria-label": `Network: ${names}` },
      lines,
      hosts.filter((entry) => found.has(entry.name)).map((entry) => host(entry, spot(entry.name), box)),
    ),
  );
}

const timers = new Map();

function light(element) {
  if (element === null) return;
  element.classList.add("lit");
  clearTimeout(timers.get(element));
  timers.set(
    element,
    setTimeout(() => {
      element.classList.remove("lit");
      timers.delete(element);
    }, LIT_MS),
  );
}

function light_way(from, to) {
  const drawing = by_id("network");
  const path = way(from, to, network().links);
  path.forEach((name, index) => {
    light(drawing.querySelector(`[data-host="${CSS.escape(name)}"]`));
    if (index > 0) light(drawing.querySelector(`[data-link="${CSS.escape(link_key(path[index - 1], name))}"]`));
  });
}

function tell_last(text, time) {
  fill(by_id("network-last"), h("span", { class: "mono" }, clock_time(time)), " " + text);
}

export function begin() {
  on("desk size", draw);
  const tell_exchange = (exchange) =>
    tell_last(`${exchange.kind} from ${exchange.peer}: ${exchange.outcome || "no answer"}`, exchange.time);
  on("message", (exchange) => {
    light_way("gw", "plat");
    tell_exchange(exchange);
  });
  on("exchanges", () => {
    if (by_id("network-last").childElementCount === 0 && state.exchanges.length > 0) tell_exchange(state.exchanges.at(-1));
  });
  on("local", (text) => {
    light_way("lan", "gw");
    tell_last(text, new Date().toISOString());
  });
  draw();
}
