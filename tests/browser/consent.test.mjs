// SPDX-FileCopyrightText: 2026 Tarnwick developers <dev@tarnwick.invalid>
//
// SPDX-License-Identifier: LGPL-2.1-or-later

// The consent step as a person performs it: gdapp opens the emulator's consent page in a
// headless Chromium, the test clicks Autoriser or Refuser, and the answer travels back through the
// plug-in's loopback listener.
//   node consent.test.mjs GDAPP EMULATOR [allow|deny]...
// GDAPP_SCREENSHOTS names a folder for pictures of the consent page and the listener's answer.
// Exits 77 (skipped) when no browser or no driver library is available.
import assert from 'node:assert/strict';
import { spawn, spawnSync } from 'node:child_process';
import { existsSync, mkdtempSync, readFileSync, rmSync } from 'node:fs';
import { createServer } from 'node:net';
import { tmpdir } from 'node:os';
import { join } from 'node:path';

const Skipped = 77;
const ChromiumPath = process.env.GDAPP_CHROMIUM || '/usr/bin/chromium';
const ListenerOrigin = 'http://127.0.0.1:5479';

function skip(why) {
    console.log(`SKIP: ${why}`);
    process.exit(Skipped);
}

const [gdapp, emulatorPath, ...cases] = process.argv.slice(2);
if (!gdapp || !emulatorPath)
    throw new Error('usage: consent.test.mjs GDAPP EMULATOR [allow|deny]...');
if (!existsSync(ChromiumPath))
    skip(`no browser at ${ChromiumPath}: install Debian's chromium package`);
let chromium;
try {
    ({ chromium } = await import('playwright-core'));
} catch {
    skip('playwright-core is not installed: run npm ci in tests/browser');
}

function freePort() {
    return new Promise((resolve, reject) => {
        const server = createServer();
        server.once('error', reject);
        server.listen(0, '127.0.0.1', () => {
            const { port } = server.address();
            server.close(() => resolve(port));
        });
    });
}

// Runs a program to its end, with a deadline; resolves with its exit code and output.
function run(program, args, env, deadlineMs) {
    return new Promise((resolve) => {
        const child = spawn(program, args, { env, stdio: ['ignore', 'pipe', 'pipe'] });
        let out = '';
        let err = '';
        child.stdout.on('data', (chunk) => (out += chunk));
        child.stderr.on('data', (chunk) => (err += chunk));
        const timer = setTimeout(() => child.kill('SIGKILL'), deadlineMs);
        const started = Date.now();
        child.on('close', (code, signal) => {
            clearTimeout(timer);
            resolve({ code, signal, out, err, elapsedMs: Date.now() - started });
        });
    });
}

function startEmulator() {
    return new Promise((resolve, reject) => {
        const child = spawn(emulatorPath, ['--port', '0'], { stdio: ['ignore', 'pipe', 'inherit'] });
        let out = '';
        child.stdout.on('data', (chunk) => {
            out += chunk;
            const match = out.match(/(http:\/\/127\.0\.0\.1:\d+)/);
            if (match)
                resolve({ child, base: match[1] });
        });
        child.on('exit', (code) => reject(new Error(`the emulator exited with ${code}`)));
    });
}

async function connect(port) {
    const deadline = Date.now() + 20000;
    for (;;) {
        try {
            return await chromium.connectOverCDP(`http://127.0.0.1:${port}`);
        } catch (error) {
            if (Date.now() > deadline)
                throw error;
            await new Promise((resolve) => setTimeout(resolve, 100));
        }
    }
}

async function consentPage(browser) {
    const deadline = Date.now() + 20000;
    for (;;) {
        for (const context of browser.contexts()) {
            const page = context.pages().find((p) => p.url().includes('/o/oauth2/v2/auth'));
            if (page)
                return page;
        }
        assert.ok(Date.now() < deadline, 'the consent page never opened');
        await new Promise((resolve) => setTimeout(resolve, 100));
    }
}

// The entries of one group of a QSettings INI file.
function settingsGroup(file, group) {
    const entries = {};
    let current = '';
    for (const line of readFileSync(file, 'utf8').split('\n')) {
        const header = line.match(/^\[(.*)\]$/);
        if (header)
            current = header[1];
        else if (current === group && line.includes('='))
            entries[line.slice(0, line.indexOf('='))] = line.slice(line.indexOf('=') + 1);
    }
    return entries;
}

// The browser was started by gdapp, not by this script: find it by its profile.
async function stopBrowser(profile) {
    const pattern = ['-f', '--', profile];
    for (let i = 0; i < 50 && spawnSync('pgrep', pattern).status === 0; ++i) {
        if (i === 20)
            spawnSync('pkill', ['-KILL', ...pattern]);
        else if (i > 0)
            spawnSync('pkill', pattern);
        await new Promise((resolve) => setTimeout(resolve, 100));
    }
}

async function consent(decision) {
    const scratch = mkdtempSync(join(tmpdir(), 'gdapp-consent-'));
    const emulator = await startEmulator();
    const debugPort = await freePort();
    const browserCommand = [
        ChromiumPath, '--headless', '--no-sandbox', '--disable-gpu', '--no-first-run',
        '--disable-background-networking', '--disable-component-update', '--disable-sync',
        '--window-size=800,600', `--user-data-dir=${join(scratch, 'profile')}`,
        `--remote-debugging-port=${debugPort}`,
    ].join(' ');
    const env = {
        ...process.env,
        GDAPP_DRIVE_URL: emulator.base,
        GDAPP_OAUTH_URL: emulator.base,
        XDG_CONFIG_HOME: join(scratch, 'config'),
        QT_QPA_PLATFORM: 'offscreen',
    };
    let browser;
    try {
        const login = run(gdapp, ['login', '--consent', 'browser', '--browser', browserCommand],
                          env, 60000);
        browser = await connect(debugPort);
        const page = await consentPage(browser);
        await page.waitForSelector(`#${decision}`);
        const shots = process.env.GDAPP_SCREENSHOTS;
        if (shots && decision === 'allow')
            await page.screenshot({ path: join(shots, 'consent-page.png') });
        // The listener may answer a refusal with an empty response: watch the request.
        const [redirect] = await Promise.all([
            page.waitForRequest((request) => request.url().startsWith(`${ListenerOrigin}/`)),
            page.click(`#${decision}`),
        ]);
        const answered = new URL(redirect.url());
        assert.equal(answered.origin, ListenerOrigin, 'the redirect went to the loopback listener');
        if (decision === 'allow') {
            assert.ok(answered.searchParams.has('code'), redirect.url());
            await page.waitForURL(`${ListenerOrigin}/**`);
            await page.waitForLoadState();
            if (shots)
                await page.screenshot({ path: join(shots, 'consent-answered.png') });
        } else {
            assert.equal(answered.searchParams.get('error'), 'access_denied', redirect.url());
        }

        const result = await login;
        const settings = join(scratch, 'config', 'Tarnwick', 'gdapp.conf');
        if (decision === 'allow') {
            assert.equal(result.code, 0, result.err);
            const stored = settingsGroup(settings, 'gdapp');
            for (const key of ['token', 'refreshtoken', 'expires'])
                assert.ok(stored[key], `settings entry gdapp/${key} written`);
            const listing = await run(gdapp, ['ls', 'gdapp:/', '--consent', 'print'], env, 20000);
            assert.equal(listing.code, 0, listing.err);
        } else {
            assert.equal(result.code, 4, result.err);
            assert.match(result.err, /refused/);
            assert.ok(result.elapsedMs < 15000, `took ${result.elapsedMs} ms`);
            const stored = existsSync(settings) ? settingsGroup(settings, 'gdapp') : {};
            assert.ok(!stored.token, 'no token stored after a refusal');
        }
        console.log(`PASS: ${decision}`);
    } finally {
        if (browser) {
            const session = await browser.newBrowserCDPSession().catch(() => null);
            await session?.send('Browser.close').catch(() => {});
        }
        await stopBrowser(join(scratch, 'profile'));
        emulator.child.removeAllListeners('exit');
        emulator.child.kill();
        try {
            rmSync(scratch, { recursive: true, force: true, maxRetries: 10, retryDelay: 100 });
        } catch (error) {
            console.log(`could not remove ${scratch}: ${error.message}`);
        }
    }
}

for (const decision of cases.length ? cases : ['allow', 'deny'])
    await consent(decision);
