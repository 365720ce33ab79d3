// Serves and fetches in one process; prints a line for each check: its name, a tab, and how it went.
import assert from "node:assert";
import { fork } from "node:child_process";
import dgram from "node:dgram";
import dns from "node:dns/promises";
import { once } from "node:events";
import http from "node:http";
import net from "node:net";
import { fileURLToPath } from "node:url";

const requests = 200;
const large = Buffer.alloc(3 << 20, "0123456789abcdef\n");

async function check(name, body) {
    try {
        await body();
        console.log(`${name}\tok`);
    } catch (error) {
        console.log(`${name}\t${String(error).replaceAll("\n", " ")}`);
    }
}

async function listening(server) {
    server.listen(0, "127.0.0.1");
    await once(server, "listening");
    return server.address().port;
}

async function bodyOf(stream) {
    const parts = [];
    for await (const part of stream) parts.push(part);
    return Buffer.concat(parts);
}

async function fetchesFrom(port) {
    const root = `http://127.0.0.1:${port}`;
    await check("requests at once", async () => {
        const answers = await Promise.all(Array.from({ length: requests }, async (_, i) =>
            (await fetch(`${root}/echo`, { method: "POST", body: `request ${i}` })).text()));
        answers.forEach((answer, i) => assert.strictEqual(answer, `request ${i}`));
    });
    await check("a large answer", async () =>
        assert(large.equals(Buffer.from(await (await fetch(`${root}/large`)).arrayBuffer()))));
    await check("a large request", async () => {
        const answer = await fetch(`${root}/echo`, { method: "POST", body: large });
        assert(large.equals(Buffer.from(await answer.arrayBuffer())));
    });
    await check("a missing page", async () =>
        assert.strictEqual((await fetch(`${root}/missing`)).status, 404));
    await check("a connection for each request", async () => {
        for (let i = 0; i < 50; ++i) {
            const [answer] = await once(http.get(`${root}/large`, { agent: false }), "response");
            answer.destroy();
        }
    });
}

async function echoes() {
    const server = net.createServer((socket) => socket.pipe(socket));
    const socket = net.connect(await listening(server), "127.0.0.1");
    socket.end(large);
    assert(large.equals(await bodyOf(socket)));
    server.close();
}

async function isRefused() {
    const server = net.createServer();
    const port = await listening(server);
    server.close();
    await once(server, "close");
    await assert.rejects(once(net.connect(port, "127.0.0.1"), "connect"), { code: "ECONNREFUSED" });
}

async function datagrams() {
    const [first, second] = [dgram.createSocket("udp4"), dgram.createSocket("udp4")];
    second.bind(0, "127.0.0.1");
    await once(second, "listening");
    first.send("to an address", second.address().port, "127.0.0.1");
    assert.strictEqual(String((await once(second, "message"))[0]), "to an address");
    first.connect(second.address().port, "127.0.0.1");
    await once(first, "connect");
    first.send("connected");
    assert.strictEqual(String((await once(second, "message"))[0]), "connected");
    first.close();
    second.close();
}

async function talkingToChild() {
    const child = fork(fileURLToPath(import.meta.url), ["child"]);
    child.send("word");
    assert.deepStrictEqual((await once(child, "message"))[0], { upper: "WORD" });
    assert.deepStrictEqual(await once(child, "exit"), [0, null]);
}

if (process.argv[2] === "child") {
    process.once("message", (word) => process.send({ upper: word.toUpperCase() }));
} else {
    const server = http.createServer(async (request, response) => {
        if (request.url === "/echo") response.end(await bodyOf(request));
        else if (request.url === "/large") response.end(large);
        else response.writeHead(404).end();
    });
    await fetchesFrom(await listening(server));
    server.close();
    server.closeAllConnections();
    await check("an echo", echoes);
    await check("a refused connection", isRefused);
    await check("datagrams", datagrams);
    await check("a name", async () =>
        assert.match((await dns.lookup("localhost")).address, /^(127\.0\.0\.1|::1)$/));
    await check("a child", talkingToChild);
}
