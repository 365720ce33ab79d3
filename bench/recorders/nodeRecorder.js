// A recorder written for Node.js; see plainRecorder.cpp for what it prints.
//
// usage: node nodeRecorder.js LATE_MS BACKLOG EXPECTED
'use strict';
const net = require('net');

const [late, backlog, expected] = process.argv.slice(2).map(Number);
const patience = 5000; // milliseconds

const ended = new Map();
let count = 0;
let errors = 0;
let watch = setTimeout(report, patience);

function report() {
  for (const [length, streams] of [...ended].sort((a, b) => a[0] - b[0])) console.log(`${length} ${streams}`);
  console.log(`errors ${errors}`);
  process.exit(0);
}

const server = net.createServer({ pauseOnConnect: late > 0 }, (stream) => {
  let length = 0;
  watch.refresh();
  stream.on('data', (data) => { length += data.length; watch.refresh(); });
  stream.on('error', () => { errors += 1; });
  stream.on('close', () => {
    ended.set(length, (ended.get(length) || 0) + 1);
    count += 1;
    watch.refresh();
    if (count === expected) report();
  });
  if (late > 0) setTimeout(() => stream.resume(), late);
});
server.listen({ host: '127.0.0.1', port: 0, backlog }, () => console.log(server.address().port));
