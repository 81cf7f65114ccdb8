// Bytes, shown so that each can be told from the others, and typed the same way.

const NAMED = { "\r": "\\r", "\n": "\\n", "\t": "\\t", "\\": "\\\\" };

const escaped = (char) => NAMED[char] ?? "\\x" + char.charCodeAt(0).toString(16).padStart(2, "0");

/** Pieces of {text, escape}: printable ASCII as it is, all else escaped; a line ends behind each line feed. */
export function visible(bytes) {
  const pieces = [];
  for (const [part] of bytes.matchAll(/[\x20-\x5b\x5d-\x7e]+|[^\x20-\x5b\x5d-\x7e]/g)) {
    const plain = part.length > 1 || (part >= " " && part <= "~" && part !== "\\");
    pieces.push({ escape: !plain, text: plain ? part : escaped(part) + (part === "\n" ? "\n" : "") });
  }
  return pieces;
}

export const typed = (bytes) =>
  visible(bytes)
    .map((piece) => piece.text)
    .join("");

/** The other way: escapes are undone, real line ends are only there for the eye. */
export function literal(text) {
  const undone = { r: "\r", n: "\n", t: "\t", "\\": "\\" };
  return text.replace(/\r?\n/g, "").replace(/\\(?:x([0-9a-fA-F]{2})|(.))/g, (whole, hex, name) => {
    if (hex) return String.fromCharCode(parseInt(hex, 16));
    if (!(name in undone)) throw new Error(`\\${name} is no escape: \\r \\n \\t \\\\ \\x00`);
    return undone[name];
  });
}

/** Rows of sixteen: offset, hexadecimal, characters. */
export function hex_dump(bytes) {
  const rows = [];
  for (let at = 0; at < bytes.length; at += 16) {
    const row = [...bytes.slice(at, at + 16)];
    const hex = row.map((char) => char.charCodeAt(0).toString(16).padStart(2, "0")).join(" ");
    const text = row.map((char) => (char >= " " && char <= "~" ? char : ".")).join("");
    rows.push(`${at.toString(16).padStart(4, "0")}  ${hex.padEnd(47)}  ${text}`);
  }
  return rows.join("\n");
}

/** The result that a request carries, as an object; null when it cannot be read. */
export function result_in(request, name) {
  try {
    const message = JSON.parse(request.slice(request.indexOf("\r\n\r\n") + 4))[1];
    return message.Params.NUVEK[name + "Result"] ?? null;
  } catch {
    return null;
  }
}
