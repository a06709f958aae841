// Reads every message of a recording with readers that know nothing of this project, both by the index and from front to
// back, and prints what they hold as lines that the test compares. Arguments: the folder with node_modules, the file, and
// "sequence" for a file without a summary.
import { open, readFile } from "node:fs/promises";
import { createRequire } from "node:module";

const [modules, path, how] = process.argv.slice(2);
const require = createRequire(`${modules}/`);
const { McapIndexedReader, McapStreamReader } = require("@mcap/core");
const { parse } = require("@foxglove/rosmsg");
const { MessageReader } = require("@foxglove/rosmsg2-serialization");
const fzstd = require("fzstd");

const decompressHandlers = { zstd: (bytes) => fzstd.decompress(bytes) };
const schemas = new Map();
const channels = new Map();
const readers = new Map();
const counts = new Map();

function sum(bytes) {
  let total = 0;
  bytes.forEach((byte) => (total = (total * 31 + byte) % 4294967291));
  return total;
}

function decode(channel, data) {
  const schema = schemas.get(channel.schemaId);
  if (schema.encoding !== "ros2msg") {
    return JSON.parse(new TextDecoder().decode(data));
  }
  if (!readers.has(schema.id)) {
    const text = new TextDecoder().decode(schema.data);
    readers.set(schema.id, new MessageReader(parse(text, { ros2: true })));
  }
  return readers.get(schema.id).readMessage(data);
}

function take(message) {
  const channel = channels.get(message.channelId);
  const value = decode(channel, message.data);
  const count = (counts.get(channel.topic) ?? 0) + 1;
  counts.set(channel.topic, count);
  if (count > 1) {
    return;
  }
  const show = { ...value };
  if (value.data !== undefined) {
    show.data = `${value.data.length} bytes, sum ${sum(value.data)}`;
  }
  const text = JSON.stringify(show, (_, part) => (ArrayBuffer.isView(part) ? Array.from(part) : part));
  console.log(`${channel.topic} log ${message.logTime} publish ${message.publishTime} ${text}`);
}

if (how === "sequence") {
  const reader = new McapStreamReader({ decompressHandlers, validateCrcs: true });
  reader.append(await readFile(path));
  for (let record; (record = reader.nextRecord()); ) {
    if (record.type === "Schema") schemas.set(record.id, record);
    if (record.type === "Channel") channels.set(record.id, record);
    if (record.type === "Message") take(record);
  }
} else {
  const file = await open(path);
  const readable = {
    size: async () => BigInt((await file.stat()).size),
    read: async (offset, length) => {
      const bytes = new Uint8Array(Number(length));
      await file.read(bytes, 0, bytes.length, Number(offset));
      return bytes;
    },
  };
  const reader = await McapIndexedReader.Initialize({ readable, decompressHandlers });
  console.log(`profile ${reader.header.profile}`);
  reader.schemasById.forEach((schema, id) => schemas.set(id, schema));
  reader.channelsById.forEach((channel, id) => channels.set(id, channel));
  for await (const message of reader.readMessages({ validateCrcs: true })) take(message);
  for await (const attachment of reader.readAttachments()) {
    console.log(`attachment ${attachment.name} ${new TextDecoder().decode(attachment.data).trim()}`);
  }
  for await (const metadata of reader.readMetadata()) {
    console.log(`metadata ${metadata.name} ${JSON.stringify(Object.fromEntries(metadata.metadata))}`);
  }
  console.log(`statistics ${reader.statistics.messageCount} ${reader.statistics.chunkCount}`);
}
console.log(`counts ${JSON.stringify(Object.fromEntries([...counts].sort()))}`);
