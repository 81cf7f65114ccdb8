// What the page knows, and who wants to hear of a change. Panels read it; only live.js and the panels' own buttons write it.

import { by_id, fill } from "./dom.js";

export const state = {
  connection: "connecting", // or "live", "lost"
  platform: null,
  gateways: new Map(), // by UUID, in the order in which they came
  gateway_count: 0,
  chosen: null, // UUID
  everyone: true, // the sequence diagram: exchanges of all gateways, or of the chosen one
  exchanges: [], // the newest, oldest first
  exchange: null, // the one shown byte for byte
  results: { SiteSpeed: [], TraceRoute: [] }, // of the chosen gateway, oldest first
  answers: [],
  scenario: null,
  desk: null,
  store: null,
};

const listeners = new Map();

export function on(topics, listener) {
  for (const topic of topics.split(" ")) listeners.set(topic, [...(listeners.get(topic) ?? []), listener]);
}

export function tell(topic, detail) {
  for (const listener of listeners.get(topic) ?? []) listener(detail);
}

export const chosen_gateway = () => state.gateways.get(state.chosen) ?? null;

/** Draws into the element `id` when one of the topics is told and `input` has changed: nobody loses a selection for nothing. */
export function panel(id, topics, input, draw) {
  let before;
  const update = () => {
    const value = input();
    const now = JSON.stringify(value) ?? "";
    if (now === before) return;
    before = now;
    fill(by_id(id), draw(value));
  };
  on(topics, update);
  update();
}
