// One line that tells what an action did, or why it did not.

import { by_id } from "./dom.js";

let timer;

export function notice(text, bad = false) {
  const line = by_id("notice");
  line.textContent = text;
  line.className = bad ? "bad" : "good";
  line.hidden = false;
  clearTimeout(timer);
  timer = setTimeout(
    () => {
      line.hidden = true;
    },
    bad ? 15000 : 8000,
  );
}

/** Runs an action and tells how it went; gives whether it went well. */
export async function attempt(action) {
  try {
    const done = await action();
    if (done) notice(done);
    return true;
  } catch (error) {
    notice(error.message, true);
    return false;
  }
}
