// features.ts - what the server says of features in the one form that the controls work with: it may list them as
// "ox3d features --json" does.
import type { FeatureEntry, FeatureType } from "./wire";

type Raw = Partial<Omit<FeatureEntry, "entries" | "type">> & {
  name: string;
  type: string;
  access?: string;
  display_name?: string;
  tooltip?: string;
  entries?: (string | { name: string; available?: boolean })[];
};

const kTypes: Record<string, FeatureType> = {
  int: "integer", integer: "integer", float: "float", bool: "boolean", boolean: "boolean", enum: "enumeration",
  enumeration: "enumeration", string: "string", command: "command",
};

export function featureOf(raw: Raw): FeatureEntry {
  const access = raw.access ?? "";
  const entries = raw.entries?.flatMap((entry) =>
    typeof entry === "string" ? [entry] : entry.available === false ? [] : [entry.name]);
  // What there is not may be null on the wire; the controls know it as left out.
  const known = Object.fromEntries(Object.entries(raw).filter(([key, value]) => key === "value" || value !== null)) as Raw;
  return {
    ...known,
    type: kTypes[raw.type.toLowerCase()] ?? "register",
    displayName: raw.displayName ?? raw.display_name ?? raw.name,
    readable: raw.readable ?? /read/.test(access),
    writable: raw.writable ?? /write/.test(access),
    description: raw.description || raw.tooltip || "",
    ...(entries ? { entries } : {}),
  } as FeatureEntry;
}
