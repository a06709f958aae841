// features.ts - what the server says of features in the one form that the controls work with: it may list them as
// "ox3d features --json" does.
import type { FeatureEntry, FeatureType, FeatureValue } from "./wire";

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

// Whole numbers beyond 2^53 are texts on the wire: bigint keeps each digit.
export function exactOf<T extends FeatureValue | undefined>(type: FeatureType, value: T): T | bigint {
  return type === "integer" && typeof value === "string" && /^-?\d+$/.test(value) ? BigInt(value) : value;
}

export function featureOf(raw: Raw): FeatureEntry {
  const access = raw.access ?? "";
  const entries = raw.entries?.flatMap((entry) =>
    typeof entry === "string" ? [entry] : entry.available === false ? [] : [entry.name]);
  // What there is not may be null on the wire; the controls know it as left out.
  const known = Object.fromEntries(Object.entries(raw).filter(([key, value]) => key === "value" || value !== null)) as Raw;
  const type = kTypes[raw.type.toLowerCase()] ?? "register";
  const whole = Object.fromEntries((["value", "min", "max", "increment"] as const)
    .flatMap((key) => key in known ? [[key, exactOf(type, known[key])]] : []));
  return {
    ...known, ...whole, type,
    displayName: raw.displayName ?? raw.display_name ?? raw.name,
    readable: raw.readable ?? /read/.test(access),
    writable: raw.writable ?? /write/.test(access),
    description: raw.description || raw.tooltip || "",
    ...(entries ? { entries } : {}),
  } as FeatureEntry;
}
