// The console's HTTP interface. An answer that is no success throws an Error with the platform's own words.

async function ask(method, path, body, type = "application/json") {
  const options = { method, cache: "no-store", headers: {} };
  if (method !== "GET") options.headers["Content-Type"] = type;
  if (body !== undefined) options.body = typeof body === "string" ? body : JSON.stringify(body);
  let response;
  try {
    response = await fetch("/api/" + path, options);
  } catch {
    throw new Error("the platform does not answer");
  }
  const text = await response.text();
  let value;
  try {
    value = JSON.parse(text);
  } catch {
    value = { error: text || response.statusText };
  }
  if (!response.ok)
    throw Object.assign(new Error(value.error ?? `status ${response.status}`), { status: response.status, value });
  return value;
}

export const get = (path) => ask("GET", path);
export const post = (path, body) => ask("POST", path, body);
export const put = (path, body, type) => ask("PUT", path, body, type);
export const remove = (path) => ask("DELETE", path);
export const gateway_path = (uuid) => "gateways/" + encodeURIComponent(uuid);
