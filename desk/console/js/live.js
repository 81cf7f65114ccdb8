// Keeps the state at what the platform says: loads it all at the beginning and after a loss, then follows the events.

import { get, gateway_path } from "./api.js";
import { state, tell } from "./state.js";

const BEAT_MS = 50; // exchanges that come within this time are drawn together
const KEPT_EXCHANGES = 300;
const PAGE_OF_GATEWAYS = 200;
const TOGETHER_MS = 200; // changes that come within this time are fetched together
const FLEET = 50; // more gateways than these are fetched less often
const FLEET_TOGETHER_MS = 2000;
const FEW = 8; // changed gateways are fetched one by one up to this many
const RETRY_MS = 2000;
const DESK_MS = 3000;

let source = null;
let started = null;
let changed = new Set();
let timer = null;
let coming = []; // exchanges told of and not yet taken in

const quietly = (promise) => promise.catch(() => {}); // the next change or reconnection asks again

/** Loads as many gateways as are shown and `further` ones, at least a page. */
export async function load_gateways(further = 0) {
  const wanted = state.gateways.size + further;
  const list = [];
  let page;
  do {
    page = await get(`gateways?after=${list.at(-1)?.number ?? 0}&limit=${PAGE_OF_GATEWAYS}`);
    list.push(...page.gateways);
  } while (page.more && list.length < wanted);
  state.gateways = new Map(list.map((gateway) => [gateway.uuid, gateway]));
  state.gateway_count = page.count;
  if (!state.gateways.has(state.chosen)) choose(list[0]?.uuid ?? null);
  tell("gateways");
}

export const more_gateways = () => load_gateways(1);

export async function load_exchanges() {
  const asked = [state.everyone, state.chosen];
  const filter = state.everyone ? "" : `&uuid=${encodeURIComponent(state.chosen ?? "-")}`;
  const list = await get(`exchanges?limit=200${filter}`);
  if (asked[0] !== state.everyone || (!state.everyone && asked[1] !== state.chosen)) return; // chosen anew meanwhile
  const newer = state.exchanges.filter((exchange) => exchange.number > list.last && list.last > 0 && belongs(exchange));
  state.exchanges = [...list.exchanges, ...newer].slice(-KEPT_EXCHANGES);
  tell("exchanges");
}

async function load_results(kind) {
  const uuid = state.chosen;
  const list =
    uuid === null ? [] : (await get(`exchanges?kind=${kind}&uuid=${encodeURIComponent(uuid)}&limit=32`)).exchanges;
  if (uuid !== state.chosen) return;
  state.results[kind] = list;
  tell("results");
}

export async function load_desk() {
  if (!state.platform?.desk) return;
  try {
    state.desk = await get("desk");
  } catch (error) {
    state.desk = error.status === 404 ? null : { error: error.message };
  }
  tell("desk");
}

export function choose(uuid) {
  if (uuid === state.chosen) return;
  state.chosen = uuid;
  state.results = { SiteSpeed: [], TraceRoute: [] };
  tell("gateways");
  tell("results");
  for (const kind of Object.keys(state.results)) quietly(load_results(kind));
  if (!state.everyone) quietly(load_exchanges());
}

export function show_everyone(everyone) {
  state.everyone = everyone;
  state.exchanges = state.exchanges.filter(belongs);
  tell("exchanges");
  quietly(load_exchanges());
}

const belongs = (exchange) => state.everyone || exchange.uuid === state.chosen;

async function load_all() {
  state.platform = await get("platform");
  tell("platform");
  await Promise.all([
    load_gateways(),
    load_exchanges(),
    load_desk(),
    ...Object.keys(state.results).map(load_results),
    get("answers").then((list) => {
      state.answers = list.answers;
      tell("answers");
    }),
    get("scenario").then((scenario) => {
      state.scenario = scenario;
      tell("scenario");
    }),
  ]);
}

async function fetch_changed() {
  timer = null;
  const uuids = [...changed];
  changed = new Set();
  const loaded = state.gateways.size >= state.gateway_count;
  if (uuids.length > FEW || (loaded && uuids.some((uuid) => !state.gateways.has(uuid)))) return load_gateways();
  const known = uuids.filter((uuid) => state.gateways.has(uuid));
  for (const gateway of await Promise.all(known.map((uuid) => get(gateway_path(uuid)))))
    state.gateways.set(gateway.uuid, gateway);
  tell("gateways");
}

function gateway_changed(uuid) {
  if (uuid === "") return;
  changed.add(uuid);
  const wait_ms = state.gateways.size > FLEET ? FLEET_TOGETHER_MS : TOGETHER_MS;
  timer ??= setTimeout(() => quietly(fetch_changed()), wait_ms);
}

function exchange_came(exchange) {
  if (coming.length === 0) setTimeout(take_in, BEAT_MS);
  coming.push(exchange);
}

function take_in() {
  const last = state.exchanges.at(-1)?.number ?? 0;
  const list = coming;
  coming = [];
  if (list.length === 0) return; // a new platform came meanwhile
  const fresh = list.filter((exchange) => exchange.number > last && belongs(exchange));
  state.exchanges = [...state.exchanges, ...fresh].slice(-KEPT_EXCHANGES);
  tell("exchanges");
  tell("message", list.at(-1));
  for (const { uuid } of list) gateway_changed(uuid);
  for (const kind of Object.keys(state.results)) {
    if (list.some((exchange) => exchange.uuid === state.chosen && exchange.kind === kind)) quietly(load_results(kind));
  }
}

function hello(told) {
  if (started !== null && started !== told.started) {
    state.exchanges = [];
    coming = [];
    state.exchange = null;
    tell("exchange");
    connect(); // the old numbers mean nothing to a new platform
  }
  started = told.started;
  set_connection("live");
  load_until_all();
}

/** What changed while nobody listened is told by no event; a platform that is too busy is asked again. */
function load_until_all() {
  load_all().catch(() => setTimeout(() => state.connection === "live" && load_until_all(), RETRY_MS));
}

function set_connection(connection) {
  if (connection === state.connection) return;
  state.connection = connection;
  tell("connection");
}

function gateway_event({ uuid, change }) {
  if (change === "forgotten") {
    state.gateways.delete(uuid);
    if (state.chosen === uuid) choose(state.gateways.keys().next().value ?? null);
  }
  gateway_changed(uuid);
}

function connect() {
  source?.close();
  source = new EventSource("/api/events");
  const mine = source;
  const follow = (name, handle) => mine.addEventListener(name, (event) => handle(JSON.parse(event.data)));
  follow("hello", hello);
  follow("exchange", exchange_came);
  follow("gateway", gateway_event);
  follow("answers", (list) => {
    state.answers = list.answers;
    tell("answers");
  });
  follow("scenario", () =>
    quietly(
      get("scenario").then((scenario) => {
        state.scenario = scenario;
        tell("scenario");
      }),
    ),
  );
  follow("journal", (journal) => {
    state.platform.journal = journal;
    tell("platform");
  });
  mine.onerror = () => {
    if (mine !== source) return;
    set_connection("lost");
    // A refused stream is closed for good by the browser; a broken one it opens again by itself.
    if (mine.readyState === EventSource.CLOSED) setTimeout(() => mine === source && connect(), RETRY_MS);
  };
}

export function begin() {
  connect();
  setInterval(() => document.visibilityState === "visible" && state.connection === "live" && quietly(load_desk()), DESK_MS);
}
