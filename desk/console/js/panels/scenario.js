// The scenario: read, changed, and told where it is wrong.

import { put } from "../api.js";
import { by_id, fill } from "../dom.js";
import { date_time } from "../format.js";
import { notice } from "../notice.js";
import { on, state } from "../state.js";

const SOURCES = { default: "the built-in one", console: "set here" };
let untouched = "";

function draw() {
  const scenario = state.scenario;
  if (scenario === null) return;
  const text = by_id("scenario-text");
  if (text.value === untouched) text.value = scenario.yaml;
  untouched = scenario.yaml;
  const source = SOURCES[scenario.source] ?? `from ${scenario.file}`;
  fill(by_id("scenario-source"), `In force: ${source}, since ${date_time(scenario.since)}.`);
  tell_error(scenario.error);
}

function tell_error(error) {
  const line = by_id("scenario-error");
  line.textContent = error === null ? "" : error.error;
  line.hidden = error === null;
}

/** Marks the line that is wrong. */
function mark(line) {
  const text = by_id("scenario-text");
  const lines = text.value.split("\n");
  const begin = lines.slice(0, line - 1).reduce((sum, part) => sum + part.length + 1, 0);
  text.focus();
  text.setSelectionRange(begin, begin + (lines[line - 1]?.length ?? 0));
}

async function apply(event) {
  event.preventDefault();
  try {
    state.scenario = await put("scenario", by_id("scenario-text").value, "application/yaml");
    untouched = by_id("scenario-text").value;
    draw();
    notice("The scenario is in force from the next message on");
  } catch (error) {
    tell_error({ error: error.message });
    if (error.value?.line) mark(error.value.line);
  }
}

export function begin() {
  by_id("scenario-form").onsubmit = apply;
  by_id("scenario-undo").onclick = () => {
    untouched = by_id("scenario-text").value;
    draw();
  };
  on("scenario", draw);
}
