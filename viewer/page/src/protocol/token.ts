// token.ts - the token of a server that listens beyond this host. It comes in the URL's fragment, which is never sent
// and is taken out of the address at once, and stays with this tab alone.

const kKey = "ox3d.token";

export function takeToken(): void {
  const match = /[#&]token=([^&]+)/.exec(location.hash);
  if (match?.[1]) {
    sessionStorage.setItem(kKey, decodeURIComponent(match[1]));
    history.replaceState(null, "", location.pathname + location.search);
  }
}

export function token(): string | null {
  return sessionStorage.getItem(kKey);
}

export function setToken(value: string): void {
  sessionStorage.setItem(kKey, value);
}
