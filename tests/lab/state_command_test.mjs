// The state command, as a user meets it, on device roots in all conditions.
// node --test state_command_test.mjs, with VORN_LAB as the program.

import assert from "node:assert/strict";
import { mkdirSync, rmSync, symlinkSync } from "node:fs";
import { test } from "node:test";
import { at, get, lab, labMust, labRefuses, put } from "../support/lab.mjs";

const NVCFG = "root/mnt/vendor/nvcfg/vorn/";
const DATA = "root/data/vendor/vorn/";

const set = (...assignments) => labMust("state", "set", "root", ...assignments);
const text = () => labMust("state", "show", "root");
const show = (root = "root") => JSON.parse(labMust("state", "show", "--json", root))[0];
const file = (name, root) => show(root).files.find((each) => each.name === name);
const value = (field, root) => file(field.match(/^\w+/)[0], root).fields.find((each) => each.name === field).value;
const refuses = (...words) => labRefuses("state", ...words);

// No two alike where the daemon takes more than one: a field that is shown in another's stead is found out.
function someValue(name, i) {
  const parameter = { dcr_num: 9000, dcr_den: 10000, qmax_num: 2000, qmax_den: 740 }[name.split(".")[1]];
  if (name.startsWith("batt_stress")) return 100.125 + i;
  if (parameter) return parameter + i;
  return { toc_clients: 7, batt_precharge_ubootflag: 200, "dyn_soc_params.version": 1 }[name] ?? 1000 + i;
}

test("shows what was set in every field", () => {
  const first = ["batt_stress[0][0]", "dyn_soc_params.version", "toc_clients", "charge_failures", "last_datetime", "last_battvolt",
    "batt_precharge_timer", "batt_precharge_counter", "batt_precharge_uboottimer", "batt_precharge_ubootflag"];
  set(...first.map((name) => `${name}=1`));
  const fields = () => show().files.flatMap((each) => each.fields);
  const names = fields().map(({ name }) => name);
  assert.equal(new Set(names).size, 112);
  const given = names.map((name, i) => [name, someValue(name, i)]);
  set(...given.map(([name, number]) => `${name}=${number}`));
  assert.deepEqual(fields().map((each) => [each.name, each.value]), given);
  const shown = text();
  for (const [name, number] of given.filter(([name]) => !name.startsWith("batt_stress"))) {
    assert.match(shown, new RegExp(`\n  ${name} +${number}[ ,\n]`));
  }
  for (let row = 0; row < 9; ++row) {
    const hours = given.slice(11 * row, 11 * row + 11).map(([, number]) => number.toFixed(1));
    assert.match(shown, new RegExp(`\n  ${row} \\S+ +${hours.join(" +")} `));
  }
  const ends = { last_datetime: ["-9223372036854775808", "9223372036854775807"], toc_clients: ["0", "255"], batt_precharge_ubootflag: ["0", "255"] };
  for (const end of [0, 1]) {
    const whole = names.filter((name) => !name.startsWith("batt_stress")).map((name) => [name, (ends[name] ?? ["-2147483648", "2147483647"])[end]]);
    set("--force", ...whole.map((each) => each.join("=")));
    const json = labMust("state", "show", "--json", "root");
    for (const [name, number] of whole) assert.match(json, new RegExp(`"name": "${name}",\\s*"value": ${number},`));
  }
});

test("tells why the voltage is what it is", () => {
  set("batt_stress[8][10]=300", "batt_stress[8][4]=2000", "batt_stress[0][0]=10000", "toc_clients=2");
  const { stress } = show();
  assert.equal(stress.total_hours, 12300);
  assert.equal(stress.stress_hours, 12296); // 300 * 36.335 + 2000 * 0.6978 + 10000 * 8.6e-9
  assert.deepEqual(stress.asks_for, { step: 2, voltage_mv: 4350 });
  assert.equal(stress.volt_bands_mv[8], ">4400");
  assert.equal(stress.temp_bands_c[4], "20-25");
  assert.equal(stress.hours[8][4], 2000);
  assert.deepEqual(stress.buckets.map(({ row, column }) => [row, column]), [[8, 10], [8, 4], [0, 0]]);
  assert.ok(Math.abs(stress.buckets.reduce((sum, { share }) => sum + share, 0) - 1) < 1e-9);
  for (const line of ["total 12300.0 h; stress hours 12296, which ask for step 2, 4350 mV", "next: step 9, 4000 mV, above 16450 stress hours",
    "  [8][10]         >4400       >50      300.000        36.34", "top of charge: step 2, 4350 mV\n"]) {
    assert.ok(text().includes(line), line);
  }
  set("batt_stress[8][10]=0");
  assert.match(text(), /a step is never lowered, though the stress hours ask for 0 only/);
  // The test offset counts as it does at the daemon's start.
  put(`${DATA}mock_batt_stress_offset`, "16000\n");
  assert.equal(show().stress.stress_hours, 17395);
  assert.match(text(), /the next start raises it to 9, 4000 mV/);
});

test("tells what the parameters stand for", () => {
  set("dyn_soc_params.dcr_num=8000");
  assert.deepEqual(show().estimator,
    { resistance_mohm: 80, resistance_as_stored: true, capacity_mah: 7507.5, capacity_c: 27027, capacity_as_stored: true });
  set("--force", "dyn_soc_params.qmax_den=74");
  assert.deepEqual(show().estimator,
    { resistance_mohm: 80, resistance_as_stored: true, capacity_mah: 7500, capacity_c: 27000, capacity_as_stored: false });
  assert.match(text(), /capacity 7500 mAh \(27000 C\): the default; the stored one \(7.508e\+04 mAh\) is not taken/);
});

// Every file in every condition: what is said of it is what the document says, and the others are shown all the same.
test("shows damaged files as such", () => {
  put(`${NVCFG}toc_clients`, "\x03");
  const reference = labMust("state", "fields");
  const { files } = show();
  for (const { name, path, whole_size: size } of files) {
    const expect = (condition, bytes) => {
      const shown = file(name);
      assert.equal(shown.condition, condition, name);
      if (bytes === undefined) return shown;
      assert.equal(shown.size, bytes.length);
      const all = text();
      assert.ok(all.includes(`\n  ${condition} (${bytes.length} of `), name);
      for (const other of files) assert.ok(all.includes(`\n${other.name}: `));
      return shown;
    };
    for (const [condition, bytes] of [["too short", ""], ["too short", "\x01".repeat(size - 1)], ["too long", "\x01".repeat(size + 1)]]) {
      put(path, bytes);
      const { daemon } = expect(condition, bytes);
      const isSaid = condition === "too long" ? daemon.includes("reads and writes the first") : reference.includes(daemon.split(", and so reads")[0]);
      assert.ok(isSaid, daemon);
    }
    rmSync(at(path));
    const { daemon } = expect("missing");
    assert.ok(reference.includes(daemon), daemon);
    mkdirSync(at(path)); // a directory opens and cannot be read
    const unread = expect("cannot be read");
    assert.equal(unread.error, "Is a directory");
    if (name === "batt_stress") assert.match(unread.daemon, /writes the empty table over the life's record/);
    rmSync(at(path), { recursive: true });
    symlinkSync(name, at(path)); // a loop of links cannot be opened
    assert.equal(expect("cannot be opened").daemon, daemon);
    rmSync(at(path));
  }
});

test("tells what the daemon reads from part of a number", () => {
  put(`${NVCFG}charge_failures`, "\x05");
  assert.match(file("charge_failures").daemon, /and so reads 2147483397/);
  put(`${NVCFG}charge_failures`, "\xff\xff\xff\xff");
  assert.equal(value("charge_failures"), -1);
  assert.equal(file("charge_failures").fields[0].in_range, false);
  assert.match(text(), /-1 {2}\(out of range: the daemon counts from 1 at the next one\)/);
  put(`${NVCFG}batt_stress`, "\0\0\xc0\x7f\0\0\x80\xff");
  assert.equal(value("batt_stress[0][0]"), "nan");
  assert.equal(value("batt_stress[0][1]"), "-inf");
  assert.match(text(), /the daemon lets it pass, and the stress hours read 0 for good/);
  assert.match(file("batt_stress").fields[0].daemon, /0 for good/);
});

test("knows the former directory", () => {
  put(`${DATA}toc_clients`, "\x04");
  put(`${DATA}charge_failures`, "\x04");
  assert.equal(file("toc_clients").former_directory, true);
  assert.equal(show().top_of_charge.step, 4);
  assert.match(file("charge_failures").daemon, /does not take it over/);
  set("toc_clients=5"); // goes where the daemon keeps it now
  assert.equal(get(`${NVCFG}toc_clients`), "\x05");
  assert.equal(get(`${DATA}toc_clients`), "\x04");
});

test("refuses what the daemon would not take, unless forced", () => {
  set("toc_clients=1", "dyn_soc_params.version=1", "batt_stress[0][0]=1");
  const before = labMust("state", "show", "--json", "root");
  const refused = ["toc_clients=10", "charge_failures=-1", "charge_failures=2147483647", "batt_precharge_timer=-1", "batt_stress[8][10]=43801",
    "batt_stress[8][10]=-0.1", "batt_stress[8][10]=inf", "batt_stress[8][10]=nan", "dyn_soc_params.version=0", "dyn_soc_params.dcr_den=0",
    "dyn_soc_params.qmax_num=-1"];
  for (const each of refused) {
    const said = refuses("set", "root", "last_battvolt=1", each);
    assert.ok(said.includes(each) && said.includes("--force"), said);
  }
  for (const never of ["toc_clients=256", "toc_clients=-1", "toc_clients=", "toc_clients=0x1", "charge_failures=2147483648",
    "last_datetime=2026-02-30T00:00:00Z", "last_datetime=yesterday", "batt_stress[8][10]=1,5", "batt_stress=1", "nothing=1", "toc_clients"]) {
    refuses("set", "root", "--force", "last_battvolt=1", never);
  }
  assert.match(refuses("set", "root", "toc_clients=256"), /toc_clients=256: not a whole number from 0 to 255/);
  assert.equal(labMust("state", "show", "--json", "root"), before, "all or nothing");
  for (const each of refused) set("--force", each);
  // Two numbers that are only together what the daemon takes may be set together.
  set("dyn_soc_params.version=1", "dyn_soc_params.dcr_num=4", "dyn_soc_params.dcr_den=4");
});

test("changes nothing beside what is set", () => {
  const longTable = "\0".repeat(396) + "tail";
  put(`${NVCFG}batt_stress`, longTable);
  put(`${NVCFG}dyn_soc_params`, "\x01\0\0\0\x10\x27\0\0");
  set("batt_stress[0][0]=1", "dyn_soc_params.dcr_den=20000");
  assert.equal(get(`${NVCFG}batt_stress`), `\0\0\x80\x3f${longTable.slice(4)}`);
  assert.equal(value("dyn_soc_params.dcr_num"), 10000);
  assert.equal(value("dyn_soc_params.qmax_den"), 740);
  // Nothing is written when one of the files cannot be.
  mkdirSync(at(`${NVCFG}toc_clients`));
  assert.match(refuses("set", "root", "batt_stress[0][0]=2", "toc_clients=1"), /toc_clients: Is a directory/);
  assert.equal(value("batt_stress[0][0]"), 1);
});

// Set, run the daemon, show: the road of a stress trip and of a charge that takes too long.
test("goes round through the daemon", () => {
  set("batt_stress[8][10]=500", "toc_clients=0", "charge_failures=3", "batt_precharge_counter=7", "batt_precharge_uboottimer=60",
    "last_datetime=2026-01-01T00:00:00Z");
  const rows = Array.from({ length: 7301 }, (_, i) => `${i * 10},4000000,250,0,50,Charging\n`);
  put("trace.csv", `elapsed_s,voltage_now,temp,current_now,capacity,status\n${rows.join("")}`);
  labMust("replay", "trace.csv", "--root", "root", "--save-root", "after");
  assert.deepEqual(show("after").top_of_charge, { step: 9, voltage_mv: 4000 });
  assert.ok(show("after").stress.total_hours > 519.9, "the hours of the run are there too");
  const { status, stdout: changes, stderr } = lab("state", "diff", "root", "after");
  assert.deepEqual([status, stderr], [1, ""]);
  for (const line of ["charge_failures                    3 -> 4 (+1)\n", "batt_precharge_counter             7 -> 8 (+1)\n",
    "toc_clients                        0 -> 9 (+9)\n", "top of charge                      4450 -> 4000 mV (-450)\n",
    "batt_precharge_timer               none -> 60 s\n", "file batt_precharge_timer          missing -> whole\n",
    " h (+", "3800-4000 mV, 20-25 °C\n"]) {
    assert.ok(changes.includes(line), `${line} in ${changes}`);
  }
  assert.equal(labMust("state", "diff", "after", "after"), "no difference\n");
  assert.deepEqual(JSON.parse(labMust("state", "diff", "--json", "after", "after")), []);
  const counted = JSON.parse(lab("state", "diff", "--json", "root", "after").stdout).find(({ name }) => name === "charge_failures");
  assert.deepEqual(counted, { name: "charge_failures", from: "3", to: "4", difference: "+1" });
});

test("says in one line what it cannot do", () => {
  put(`${NVCFG}toc_clients`, "\x01");
  put("other", "");
  for (const words of ["show nowhere", "show other", "show", "diff root nowhere", "diff root other", "set other toc_clients=1",
    "set other/x toc_clients=1", "set root"]) {
    refuses(...words.split(" "));
  }
  mkdirSync(at("empty"));
  assert.match(labMust("state", "show", "empty"), /no state file is here/);
  assert.doesNotMatch(text(), /no state file is here/);
  // What can be shown is shown before that.
  const { status, stdout, stderr } = lab("state", "show", "nowhere", "root");
  assert.equal(status, 2);
  assert.match(stdout, /top of charge: step 1, 4400 mV/);
  assert.match(stderr, /nowhere: No such file or directory/);
});
