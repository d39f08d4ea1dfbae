// Makes a page's source one C++ file: node assemble.mjs NAME DIRECTORY OUTPUT.cpp DEPFILE
//
// DIRECTORY holds NAME.html, the title and what stands in the page's <main>, and NAME.js, its script. They go into
// shell.html with everything that they import, made small. The policy of the page names the digests of its scripts and of
// its style, so that nothing else can run in it, whatever stands in its data.

import { build } from "esbuild";
import { createHash } from "node:crypto";
import { readFileSync, readdirSync, writeFileSync } from "node:fs";
import { createRequire } from "node:module";
import { basename, dirname, join, resolve } from "node:path";
import { fileURLToPath } from "node:url";

const HERE = dirname(fileURLToPath(import.meta.url));
const MODULES = [".js"];
const BROWSERS = ["es2022"]; // what the page says when it cannot start

const [name, directory, output, depfile] = process.argv.slice(2);
if (!depfile) throw new Error("usage: node assemble.mjs NAME DIRECTORY OUTPUT.cpp DEPFILE");

const inputs = new Set([fileURLToPath(import.meta.url)]);

function read(path) {
    inputs.add(resolve(path));
    return readFileSync(path, "utf8");
}

/** A script or a style sheet with all that it imports. */
async function bundle(path, format) {
    const { outputFiles, metafile } = await build({
        entryPoints: [path],
        bundle: true,
        minify: true,
        format,
        target: BROWSERS,
        charset: "utf8",
        legalComments: "none",
        write: false,
        metafile: true,
    });
    for (const input of Object.keys(metafile.inputs)) inputs.add(resolve(input));
    return outputFiles[0].text.trim();
}

const digest = (text) => `'sha256-${createHash("sha256").update(text).digest("base64")}'`;

/** Every module beside the page's own is part of it. */
function refuseUnused() {
    const unused = readdirSync(directory).filter(
        (file) => MODULES.some((end) => file.endsWith(end)) && !inputs.has(resolve(directory, file)),
    );
    if (unused.length) throw new Error(`${directory}: ${unused.join(", ")}: not imported by ${name}.js`);
}

const before = await bundle(join(HERE, "before_paint.js"), "iife");
const style = await bundle(join(HERE, "style.css"));
const script = await bundle(join(directory, `${name}.js`), "iife");
refuseUnused();

const [, title, body] = read(join(directory, `${name}.html`)).match(/^<title>(.*)<\/title>\n([^]*)$/);
const charts = dirname(createRequire(import.meta.url).resolve("uplot/package.json"));
const parts = {
    POLICY: `default-src 'none'; script-src ${digest(before)} ${digest(script)}; style-src ${digest(style)}; img-src data:; base-uri 'none'; form-action 'none'`,
    TITLE: title,
    BEFORE: before,
    STYLE: style,
    BODY: body.trimEnd(),
    NOTICE: `uPlot\n\n${read(join(charts, "LICENSE")).trim()}`,
    SCRIPT: script,
};
const page = read(join(HERE, "shell.html")).replace(/@([A-Z]+)@/g, (place, part) => parts[part] ?? place);
const [beforeData, afterData] = page.split("@DATA@\n");

const literal = (text) => `R"vorn_page(${text})vorn_page"`;
writeFileSync(
    output,
    `// Generated from ${name}.html and ${name}.js by assemble.mjs.
#include "lab/report/html_page.h"

namespace lab::page_sources {

extern const page_source ${name};
const page_source ${name} = {${literal(beforeData)},
${literal(afterData)}};

}  // namespace lab::page_sources
`,
);
const escaped = (path) => path.replaceAll(" ", "\\ ");
writeFileSync(depfile, `${escaped(output)}: ${[...inputs].map(escaped).join(" \\\n  ")}\n`);
