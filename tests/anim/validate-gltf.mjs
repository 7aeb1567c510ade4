// Runs the glTF export tests of test_anim, which keep every file they write
// in a fresh folder, and checks each file with the Khronos glTF validator:
// any error fails. Also fails when the tests wrote no animated .gltf or .glb,
// so a test that stops writing files cannot pass here by checking nothing.
//
//   node validate-gltf.mjs TEST_ANIM SOURCE_DIR

import { spawnSync } from 'node:child_process';
import { mkdtempSync, readdirSync, readFileSync, rmSync } from 'node:fs';
import { createRequire } from 'node:module';
import { tmpdir } from 'node:os';
import { join } from 'node:path';

const [testProgram, sourceDir] = process.argv.slice(2);
const require = createRequire(join(sourceDir, 'viewer', 'package.json'));
const validator = require('gltf-validator');

const folder = mkdtempSync(join(tmpdir(), 'gltf-validate-'));
let failed = 0;
try {
  const run = spawnSync(testProgram, ['--gtest_filter=GltfExport*'], {
    env: { ...process.env, VELTRA_GLTF_KEEP_DIR: folder },
    stdio: ['ignore', 'ignore', 'inherit'],
  });
  if (run.status !== 0) {
    console.error(`${testProgram} --gtest_filter=GltfExport* failed (status ${run.status})`);
    process.exit(1);
  }
  const files = readdirSync(folder).filter((name) => /\.(gltf|glb)$/.test(name)).sort();
  for (const name of files) {
    const report = await validator.validateBytes(new Uint8Array(readFileSync(join(folder, name))), {
      uri: name,
      maxIssues: 100,
    });
    const { numErrors, numWarnings, messages } = report.issues;
    const animations = report.info?.animationCount ?? 0;
    console.log(`${name}: ${numErrors} errors, ${numWarnings} warnings, ${animations} animations`);
    for (const issue of messages.filter((m) => m.severity <= 1))
      console.log(`  ${issue.severity === 0 ? 'error' : 'warning'} ${issue.code} at ${issue.pointer}: ${issue.message}`);
    if (numErrors > 0) failed += 1;
  }
  for (const extension of ['gltf', 'glb']) {
    if (!files.some((name) => name.endsWith(`animated.${extension}`))) {
      console.error(`no animated .${extension} file was written`);
      failed += 1;
    }
  }
  console.log(`${files.length - failed} passed, ${failed} failed`);
} finally {
  rmSync(folder, { recursive: true, force: true });
}
process.exit(failed > 0 ? 1 : 0);
