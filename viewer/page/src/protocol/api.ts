// api.ts - requests to the server. A failure is an ApiError with the sentence of the status, ready to be shown.
import { featureOf } from "./features";
import { token } from "./token";
import type {
  CameraDetails, CameraEntry, Failure, FeatureEntry, FeatureValue, Playback, RecordAnswer, ServerInfo,
} from "./wire";

const kTimeoutMs = 30000; // a camera may take seconds to answer

export class ApiError extends Error {
  constructor(sentence: string, readonly httpStatus: number, readonly statusName: string) {
    super(sentence);
  }
}

async function request(method: string, path: string, body?: unknown): Promise<Response> {
  const headers: Record<string, string> = {};
  const secret = token();
  if (secret) {
    headers["Authorization"] = `Bearer ${secret}`;
  }
  if (body !== undefined) {
    headers["Content-Type"] = "application/json";
  }
  let response: Response;
  try {
    response = await fetch(path, {
      method, headers, signal: AbortSignal.timeout(kTimeoutMs), cache: "no-store",
      ...(body === undefined ? {} : { body: JSON.stringify(body, (_, value: unknown) => typeof value === "bigint" ? String(value) : value) }),
    });
  } catch {
    throw new ApiError("The server does not answer.", 0, "");
  }
  if (!response.ok) {
    const failure = (await response.json().catch(() => null)) as Failure | null;
    throw new ApiError(failure?.error || `The server answered ${response.status}.`, response.status, failure?.name ?? "");
  }
  return response;
}

async function json<T>(method: string, path: string, body?: unknown): Promise<T> {
  return (await (await request(method, path, body)).json()) as T;
}

const query = (id: string): string => `?id=${encodeURIComponent(id)}`;

export const api = {
  server: () => json<ServerInfo>("GET", "/api/server"),
  cameras: async () => (await json<{ cameras: CameraEntry[] }>("GET", "/api/cameras")).cameras,
  camera: (id: string) => json<CameraDetails>("GET", `/api/camera${query(id)}`),
  features: async (id: string): Promise<FeatureEntry[]> =>
    (await json<{ features: Parameters<typeof featureOf>[0][] }>("GET", `/api/features${query(id)}`)).features.map(featureOf),
  setFeature: (id: string, name: string, value: FeatureValue) =>
    json<{ name: string; value: FeatureValue }>("PUT", `/api/features/${encodeURIComponent(name)}${query(id)}`, { value }),
  run: (id: string, name: string) => json<object>("POST", `/api/run/${encodeURIComponent(name)}${query(id)}`, {}),
  record: (id: string, action: "start" | "stop") => json<RecordAnswer>("POST", `/api/record${query(id)}`, { action }),
  playback: (id: string, change: { playing?: boolean; speed?: number; position?: number; step?: number }) =>
    json<Playback>("POST", `/api/playback${query(id)}`, change),
  snapshot: async (id: string, file: string) => (await request("GET", `/snapshot/${file}${query(id)}`)).blob(),
};

export function sentenceOf(error: unknown): string {
  return error instanceof Error ? error.message : String(error);
}
