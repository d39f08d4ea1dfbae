// What the replay command writes; what it prints and says of mistakes: cases/cli.
// node --test replay_command_test.mjs, with VORN_LAB as the program.

import assert from "node:assert/strict";
import { existsSync } from "node:fs";
import { test } from "node:test";
import { at, get, lab, labMust, put } from "../support/lab.mjs";

const TRACE = "elapsed_s,boot,colour\n0,1,red\n10,1,red\n0,2,red\n";
const WARNING = "vorn-lab: t.csv: warning: unknown column is ignored: colour\n";

test("writes events, series and root", () => {
    put("t.csv", TRACE);
    put("root/properties", "persist.mine=kept\nvolatile=gone\n");
    const done = lab(..."replay t.csv --root root --save-root kept --events e.jsonl --series s.csv --set capacity=50".split(" "));
    assert.deepEqual([done.status, done.stdout, done.stderr], [0, "", WARNING]);
    const first =
        '{"boot":1,"elapsed":0,"event":"log","priority":4,"tag":"vorn","text":"--- vorn attempting to migrate persistent files \\n"}\n';
    assert.ok(get("e.jsonl").startsWith(first));
    assert.ok(get("e.jsonl").includes('{"boot":2,"elapsed":0,"event":"write",'));
    assert.match(get("s.csv"), /^boot,elapsed_s,toc_mv,[^]*\n1,10,4450,[^]*\n2,0,4450,/);
    assert.equal(get("root/properties"), "persist.mine=kept\nvolatile=gone\n", "evidence stays as it is");
    assert.ok(!existsSync(at("root/mnt")));
    assert.match(get("kept/properties"), /^persist\.mine=kept\n[^]*persist\.vendor\.vorn\.toc=4450\n/);
    assert.ok(!get("kept/properties").includes("volatile"));
    assert.equal(get("kept/mnt/vendor/nvcfg/vorn/last_datetime").length, 8);
    assert.equal(get("kept/data/vendor/vorn/mock_n_day_threshold_sec"), "", "the daemon's open made it");
    // Another run takes over from there.
    const again = labMust("replay", "t.csv", "--root", "kept", "--events", "-");
    assert.ok(again.startsWith("{") && !again.includes("No saved datetime"));
});
