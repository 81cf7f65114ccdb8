// Which of a gateway's results of one kind a panel shows: the newest, unless another was chosen.

import { get } from "../api.js";
import { result_in } from "../bytes.js";
import { by_id, empty, fill, h } from "../dom.js";
import { clock_time, date_time, signed } from "../format.js";
import { on, state } from "../state.js";
import { show } from "./exchange.js";

const answered = (exchange) => (exchange.code === null ? "not answered" : `answered ${signed(exchange.code)}`);

/** Shows the chosen result of `kind` in the element `id`, with `draw(result, width)` for its figures. */
export function result_panel(id, kind, nothing, draw) {
  let wanted = null; // number of the exchange; null: always the newest
  let before;

  function picker(list, shown) {
    const choose = (event) => {
      const number = Number(event.target.value);
      wanted = number === list.at(-1).number ? null : number;
      update();
    };
    return h(
      "label",
      { class: "row" },
      "Result ",
      h(
        "select",
        { "data-key": `${id}-picker`, onchange: choose },
        list
          .toReversed()
          .map((exchange) =>
            h(
              "option",
              { value: exchange.number, selected: exchange === shown },
              `${exchange.number} · ${clock_time(exchange.time, false)} · ${answered(exchange)}`,
            ),
          ),
      ),
    );
  }

  function update() {
    const list = state.results[kind];
    const shown = list.find((exchange) => exchange.number === wanted) ?? list.at(-1);
    const width = by_id(id).clientWidth;
    const now = JSON.stringify([list.map((exchange) => exchange.number), shown?.number, width]);
    if (now === before) return;
    before = now;
    if (shown === undefined) return fill(by_id(id), empty(nothing));
    const result = result_in(shown.request, kind);
    fill(
      by_id(id),
      picker(list, shown),
      result === null ? empty("This result cannot be read: see its bytes.") : draw(result, width),
      h(
        "p",
        { class: "dim" },
        `${date_time(shown.time)}, exchange `,
        h(
          "button",
          {
            type: "button",
            class: "link",
            "data-key": `${id}-exchange`,
            onclick: async () => show(await get(`exchanges/${shown.number}`)),
          },
          String(shown.number),
        ),
        ".",
      ),
    );
  }

  on("results size", update);
  update();
}

/** What went wrong with a measurement: four codes, or nothing. */
export function error_facts(error) {
  if (error === null || typeof error !== "object") return null;
  return h(
    "p",
    { class: "bad-text" },
    Object.entries(error)
      .map(([name, code]) => `${name} ${code}`)
      .join(", "),
  );
}
