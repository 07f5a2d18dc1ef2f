// What the instrument keeps without power, byte by byte: the store in the module's EEPROM and the tuning record.

export const kPageSize = 128;
export const kPages = 512;
const kParameters = 16, kParameterPages = 216; // first page and pages of a partition, of which there are 2
const kChecksums = 448, kChecksumPages = 8; // of 4 partitions
const kJournal = 480; // 16 slots of 2 pages
const kEntries = 27; // of a checksum page
const kPending = 0x5a5a;

const table = new Uint32Array(256).map((_, n) => {
  for (let i = 0; i < 8; ++i) n = n & 1 ? (n >>> 1) ^ 0x82f63b78 : n >>> 1;
  return n;
});

// CRC-32C, initial value 0, no final inversion.
function crc32c(bytes) {
  let crc = 0;
  for (const byte of bytes) crc = table[(crc ^ byte) & 255] ^ (crc >>> 8);
  return crc >>> 0;
}

const u16 = (bytes, at) => bytes[at] | (bytes[at + 1] << 8);
const u32 = (bytes, at) => (u16(bytes, at) | (u16(bytes, at + 2) << 16)) >>> 0;
const hex = (value, digits) => "0x" + value.toString(16).padStart(digits, "0");
const isBlank = (bytes) => bytes.every((byte) => byte === bytes[0]) && (bytes[0] === 0xff || bytes[0] === 0);

// Fields of a record: [offset, size, name, what the number is].
const plain = (unit) => (value) => `${value} ${unit}`;
const kindOf = {
  base_addr: () => "address", part_size: plain("bytes"), part_count: plain("parts"), index: plain("in use"),
  err: (value) => (value === 0 ? "none damaged" : "a bit for each damaged part"),
};
const group = (at, name, fields = Object.keys(kindOf)) =>
  fields.map((field, i) => [at + 2 * i, 2, `${name}_${field}`, kindOf[field]]);
const sum = () => "CRC-32C";
const seal = [124, 4, "crc_self", sum];
const moduleFields = [
  ...group(0, "module"), ...group(10, "syspara"), ...group(20, "crc"),
  ...group(30, "buff", ["base_addr", "part_size", "part_count", "err"]), seal,
];
const checksumFields = [...Array.from({ length: kEntries }, (_, e) => [4 * e, 4, `crc[${e}]`, sum]), seal];
// Of a slot's second page.
const slotFields = [
  [0, 2, "state", (value) => (value === kPending ? "pending" : "empty")], [2, 2, "page_addr", (value) => `page ${value}`], seal,
];

// The module record in force: of the first copy that is good; null when there is none.
export function moduleRecord(image) {
  for (let copy = 0; copy < 4; ++copy) {
    const bytes = page(image, copy);
    if (u16(bytes, 10) === 0x0800 && crc32c(bytes.subarray(0, 38)) === u32(bytes, 124))
      return { copy, moduleErr: u16(bytes, 8), parameters: u16(bytes, 16), checksums: u16(bytes, 26), slotErr: u16(bytes, 36), };
  }
  return null;
}

export const page = (image, number) => image.subarray(number * kPageSize, (number + 1) * kPageSize);

// What page `number` is: {region, health, text, fields}. health: "valid", "damaged", "pending", "blank", "spare".
export function describePage(image, number, record) {
  const bytes = page(image, number);
  const told = (region, health, text, fields = []) => ({
    region, health, text,
    fields: fields.map(([at, size, name, kind]) => {
      const value = size === 2 ? u16(bytes, at) : u32(bytes, at);
      return [name, `${hex(value, 2 * size)}  ${kind(value)}`];
    }),
  });
  if (number < 4) {
    if (isBlank(bytes)) return told("module record", "blank", `copy ${number}, never written`);
    const good = u16(bytes, 10) === 0x0800 && crc32c(bytes.subarray(0, 38)) === u32(bytes, 124);
    if (bytes.every((byte, i) => byte === i))
      return told("module record", "spare", `copy ${number} is overwritten by the test page of an EEPROM check`);
    const use = record?.copy === number ? ", in force" : "";
    return told("module record", good ? "valid" : "damaged", `copy ${number}${use}`, moduleFields);
  }
  if (number < kParameters) return told("unused", isBlank(bytes) ? "blank" : "spare", "no record lies here");
  if (number < kChecksums) {
    const partition = Math.floor((number - kParameters) / kParameterPages);
    const own = (number - kParameters) % kParameterPages;
    const text = `partition ${partition}, page ${own}`;
    if (!record || record.parameters !== partition)
      return told("parameters", isBlank(bytes) ? "blank" : "spare", text + ", not in use");
    const sums = page(image, kChecksums + record.checksums * kChecksumPages + Math.floor(own / kEntries));
    const wanted = u32(sums, 4 * (own % kEntries)), is = crc32c(bytes);
    if (is !== wanted)
      return told("parameters", "damaged", `${text}; checksum is ${hex(is, 8)}, stored ${hex(wanted, 8)}`);
    return told("parameters", isBlank(bytes) ? "blank" : "valid", `${text}; checksum ${hex(is, 8)} agrees`);
  }
  if (number < kJournal) {
    const partition = Math.floor((number - kChecksums) / kChecksumPages);
    const text = `partition ${partition}, page ${(number - kChecksums) % kChecksumPages}`;
    if (isBlank(bytes)) return told("checksums", "blank", text);
    if (record?.checksums !== partition) return told("checksums", "spare", text + ", not in use", checksumFields);
    const good = crc32c(bytes.subarray(0, 108)) === u32(bytes, 124);
    return told("checksums", good ? "valid" : "damaged", text, checksumFields);
  }
  const slot = Math.floor((number - kJournal) / 2);
  const whole = image.subarray((kJournal + 2 * slot) * kPageSize, (kJournal + 2 * slot + 2) * kPageSize);
  const state = u16(whole, 128);
  const fields = (number - kJournal) % 2 === 1 ? slotFields : [];
  const half = fields.length > 0 ? "state and seal" : "data";
  if (state === kPending) {
    const good = crc32c(whole.subarray(0, 132)) === u32(whole, 252);
    return told("journal", good ? "pending" : "damaged",
      `slot ${slot}, ${half}: pending for page ${u16(whole, 130)}${good ? "" : ", seal does not agree"}`, fields);
  }
  return told("journal", isBlank(whole.subarray(0, 128)) ? "blank" : "spare", `slot ${slot}, ${half}: empty`, fields);
}

const kDacVolts = 2.5 / 4096; // a code

// The 96 bytes of the tuning record: {rows: [[name, text]], offset, apd}. apd: the working point next to the breakdown,
// DAC code at a temperature and its change a degree. The lines are those of the module, [volts at code 0, volts a code].
export function decodeTuning(bytes, { vdd_line, apd_line } = {}) {
  const view = new DataView(bytes.buffer, bytes.byteOffset, 96);
  const code = (at, line) => {
    const value = view.getUint32(at, true) & 0xffff;
    const [from, each] = line ?? [0, kDacVolts];
    return `${hex(value, 4)}  ${(from + value * each).toFixed(3)} V${line ? "" : " at its DAC"}`;
  };
  const rows = [["Att0", code(0)], ["Att1", code(4)]];
  for (let i = 0; i < 4; ++i) rows.push([`ApdBias[${i}]`, code(8 + 4 * i)]);
  for (let i = 0; i < 4; ++i) rows.push([`VddValue[${i}]`, code(24 + 4 * i, vdd_line)]);
  rows.push(["TemperatureSet", view.getFloat32(40, true).toFixed(2) + " °C"]);
  for (let i = 0; i < 6; ++i) rows.push([`ApdVoltageSet[${i}]`, code(44 + 4 * i, apd_line)]);
  for (let i = 0; i < 6; ++i) rows.push([`TempCoefficient[${i}]`, view.getFloat32(68 + 4 * i, true).toFixed(4) + " codes a degree"]);
  const offset = view.getInt32(92, true);
  rows.push(["OffsetPoint", `${offset} samples`]);
  const apd = {
    at: view.getFloat32(40, true),
    code: view.getUint32(44, true) & 0xffff,
    perDegree: view.getFloat32(68, true),
  };
  return { rows, offset, apd };
}
