'use strict';
(() => {
  const recording = JSON.parse(document.getElementById('recording').textContent);
  const events = recording.events.filter(event => event !== null);
  const element = id => document.getElementById(id);
  const make = (name, className, text) => {
    const node = document.createElement(name);
    if (className) node.className = className;
    if (text !== undefined) node.textContent = text;
    return node;
  };

  // What is shown: lanes with their events, and what they have become on the page.
  const otherLane = 0;
  const lanes = new Map();
  let laneInView = null;
  let chosen = null;
  let view = 'text';
  let zoom = 1;

  const plural = (count, word) => count.toLocaleString('en') + ' ' + word + (count === 1 ? '' : 's');
  const bytesText = count => {
    if (count < 1000) return count + ' B';
    for (const unit of ['kB', 'MB', 'GB']) {
      count /= 1000;
      if (count < 1000 || unit === 'GB') return count.toFixed(count < 10 ? 1 : 0) + ' ' + unit;
    }
  };
  const timeText = nanoseconds => {
    const size = Math.abs(nanoseconds);
    if (size === 0) return '0 s';
    if (size < 1e6) return +(nanoseconds / 1e3).toPrecision(4) + ' \u00b5s';
    if (size < 1e9) return +(nanoseconds / 1e6).toPrecision(6) + ' ms';
    return +(nanoseconds / 1e9).toFixed(6) + ' s';
  };
  const bytesOf = event => {
    const text = atob(event.bytes || '');
    const bytes = new Uint8Array(text.length);
    for (let i = 0; i < text.length; ++i) bytes[i] = text.charCodeAt(i);
    return bytes;
  };

  const firstTime = events.reduce((least, event) => Math.min(least, event.time), 0);
  const lastTime = events.reduce((most, event) => Math.max(most, event.time), 0);
  const timeRange = Math.max(lastTime - firstTime, 1);

  function readLanes() {
    events.forEach((event, order) => {
      event.order = order;
      if (!lanes.has(event.lane)) {
        const begin = event.begins || {process: null, socket: null, peer: null};
        lanes.set(event.lane, {number: event.lane, begin, events: [], sent: 0, received: 0});
      }
      const lane = lanes.get(event.lane);
      lane.events.push(event);
      if (event.role === 'send') lane.sent += event.size || 0;
      if (event.role === 'receive') lane.received += event.size || 0;
    });
  }

  const laneTitle = lane => lane.number === otherLane ? 'Other events'
      : (lane.begin.accepted ? 'from ' : '') + lane.begin.peer;
  const processText = process => process === 0 ? 'unknown process' : 'pid ' + process;
  const laneText = lane => lane.number === otherLane ? plural(lane.events.length, 'event')
      : processText(lane.begin.process) + ' \u00b7 socket ' + lane.begin.socket + ' \u00b7 ' +
        '\u2191' + bytesText(lane.sent) + ' \u2193' + bytesText(lane.received);

  const roleWords = {send: 'sent', receive: 'received', connect: 'connect', accept: 'accepted',
                     close: 'closed', end: 'end of stream', error: 'failed'};
  const eventText = event => {
    const word = roleWords[event.role];
    if (event.role === 'error') return event.kind + ' failed';
    if (event.role === 'send' || event.role === 'receive') return word + ' ' + bytesText(event.size || 0);
    return word || event.kind;
  };
  const markClass = role => ['send', 'receive', 'connect', 'close', 'end', 'error'].includes(role) ? role
      : role === 'accept' ? 'connect' : 'other';

  function drawMark(event) {
    const mark = make('button', 'mark ' + markClass(event.role));
    mark.type = 'button';
    mark.tabIndex = -1;
    mark.title = eventText(event) + ' \u00b7 ' + timeText(event.time);
    mark.setAttribute('aria-label', mark.title);
    mark.dataset.order = event.order;
    if (event.role === 'send' || event.role === 'receive') {
      const height = 4 + Math.min(17, 2.2 * Math.log2(1 + (event.size || 0) / 8));
      mark.style.height = height.toFixed(1) + 'px';
    }
    event.mark = mark;
    return mark;
  }

  function drawLane(lane) {
    const row = make('div', 'lane');
    row.dataset.lane = lane.number;
    const label = make('button', 'label');
    label.type = 'button';
    label.append(make('span', 'peer', laneTitle(lane)), make('span', 'what', laneText(lane)));
    label.title = laneTitle(lane) + '\n' + laneText(lane);
    label.addEventListener('click', () => showLane(lane));
    const track = make('div', 'track');
    lane.life = make('i', 'life');
    if (lane.number !== otherLane) track.append(lane.life);
    for (const event of lane.events) track.append(drawMark(event));
    row.append(label, track);
    lane.row = row;
    return row;
  }

  const byOrder = () => element('spacing').value === 'order';
  const position = event => byOrder()
      ? 100 * event.order / Math.max(events.length - 1, 1)
      : 100 * (event.time - firstTime) / timeRange;

  function place() {
    for (const lane of lanes.values()) {
      const positions = lane.events.map(position);
      lane.events.forEach((event, i) => { event.mark.style.left = positions[i].toFixed(4) + '%'; });
      const begin = positions.reduce((a, b) => Math.min(a, b));
      const end = positions.reduce((a, b) => Math.max(a, b));
      lane.life.style.left = begin + '%';
      lane.life.style.width = (end - begin) + '%';
    }
    drawAxis();
  }

  function drawAxis() {
    const axis = element('axis');
    axis.replaceChildren();
    const total = byOrder() ? Math.max(events.length - 1, 1) : timeRange;
    const least = total * 110 / Math.max(axis.clientWidth, 110);
    let step = 10 ** Math.ceil(Math.log10(least));
    for (const part of [5, 2]) if (step / part >= least) { step /= part; break; }
    for (let value = 0; value <= total && axis.childElementCount < 2000; value += step) {
      const text = byOrder() ? 'event ' + Math.round(value + 1) : timeText(value + firstTime);
      const tick = make('span', 'tick', text);
      tick.style.left = 100 * value / total + '%';
      axis.append(tick);
    }
  }

  function setZoom(wanted) {
    const timeline = element('timeline');
    const center = (timeline.scrollLeft + timeline.clientWidth / 2) / timeline.scrollWidth;
    zoom = Math.min(Math.max(wanted, 1), 4096);
    document.documentElement.style.setProperty('--zoom', zoom);
    drawAxis();
    if (chosen) chosen.mark.scrollIntoView({inline: 'center', block: 'nearest'});
    else timeline.scrollLeft = center * timeline.scrollWidth - timeline.clientWidth / 2;
  }

  function fillChoice(choice, values, text) {
    choice.append(new Option('all', ''));
    for (const value of [...new Set(values)]) choice.append(new Option(text(value), String(value)));
    choice.disabled = choice.length < 3;
    choice.addEventListener('change', filter);
  }

  const isVisible = lane => !lane.row.hidden;

  // Events of no connection belong to a process only where they say so.
  const processesOf = lane => lane.number === otherLane
      ? new Set(lane.events.map(event => event.facts.pid)) : new Set([lane.begin.process]);

  function filter() {
    const process = element('process').value;
    const peer = element('peer').value;
    let visible = 0;
    for (const lane of lanes.values()) {
      const hasProcess = process === '' || [...processesOf(lane)].map(String).includes(process);
      const hasPeer = peer === '' || lane.begin.peer === peer;
      lane.row.hidden = !(hasProcess && hasPeer);
      if (lane.number === otherLane) {
        for (const event of lane.events) event.mark.hidden = process !== '' && String(event.facts.pid) !== process;
      }
      if (isVisible(lane)) ++visible;
    }
    element('empty').hidden = visible !== 0;
    if (chosen && !isVisible(lanes.get(chosen.lane))) dismiss();
  }

  function choose(event) {
    if (chosen) chosen.mark.classList.remove('chosen');
    chosen = event;
    if (chosen) chosen.mark.classList.add('chosen');
  }

  function openDetail(title, note) {
    element('detail').hidden = false;
    element('detail-title').textContent = title;
    element('detail-note').textContent = note;
    element('facts').replaceChildren();
    element('payload').scrollTop = 0;
    for (const name of ['text', 'hex']) element('view-' + name).setAttribute('aria-pressed', name === view);
  }

  function hexText(bytes) {
    const lines = [];
    for (let i = 0; i < bytes.length; i += 16) {
      const row = [...bytes.subarray(i, i + 16)];
      const digits = row.map(byte => byte.toString(16).padStart(2, '0'));
      const text = row.map(byte => byte >= 32 && byte < 127 ? String.fromCharCode(byte) : '.').join('');
      lines.push(i.toString(16).padStart(8, '0') + '  ' +
                 (digits.slice(0, 8).join(' ') + '  ' + digits.slice(8).join(' ')).padEnd(49) + '  ' + text);
    }
    return lines.join('\n');
  }
  const shownBytes = bytes => view === 'hex' ? hexText(bytes) : new TextDecoder().decode(bytes);

  function show(event) {
    const lane = lanes.get(event.lane);
    laneInView = null;
    choose(event);
    const cut = event.size > bytesOf(event).length;
    openDetail(eventText(event) + (lane.number === otherLane ? '' : ' \u00b7 ' + laneTitle(lane)),
               timeText(event.time) + ' after the start \u00b7 line ' + event.line +
               (cut ? ' \u00b7 the first ' + bytesText(bytesOf(event).length) + ' are shown' : ''));
    for (const [name, value] of Object.entries(event.facts)) {
      element('facts').append(make('dt', '', name), make('dd', '', String(value)));
    }
    const payload = element('payload');
    payload.className = view === 'text' ? 'wrapped' : '';
    payload.textContent = shownBytes(bytesOf(event));
    event.mark.scrollIntoView({inline: 'nearest', block: 'nearest'});
  }

  // The whole conversation, one colour for each direction.
  function showLane(lane) {
    laneInView = lane;
    choose(null);
    openDetail(laneTitle(lane), laneText(lane));
    const payload = element('payload');
    payload.className = view === 'text' ? 'wrapped' : '';
    payload.replaceChildren();
    for (const event of lane.events) {
      const text = event.size ? shownBytes(bytesOf(event)) : '';
      if (text !== '') payload.append(make('span', event.role, text + (view === 'hex' ? '\n\n' : '')));
    }
    const facts = lane.number === otherLane ? {events: lane.events.length}
        : {process: lane.begin.process, socket: lane.begin.socket, peer: lane.begin.peer,
           sent: bytesText(lane.sent), received: bytesText(lane.received), events: lane.events.length};
    for (const [name, value] of Object.entries(facts)) {
      element('facts').append(make('dt', '', name), make('dd', '', String(value)));
    }
  }

  function setView(wanted) {
    view = wanted;
    if (chosen) show(chosen);
    else if (laneInView) showLane(laneInView);
  }

  function step(by) {
    if (!chosen) return;
    for (let i = chosen.order + by; i >= 0 && i < events.length; i += by) {
      if (isVisible(lanes.get(events[i].lane)) && !events[i].mark.hidden) return show(events[i]);
    }
  }

  function dismiss() {
    choose(null);
    laneInView = null;
    element('detail').hidden = true;
  }

  function toggleTheme() {
    const root = document.documentElement;
    const isDark = root.dataset.theme ? root.dataset.theme === 'dark'
        : matchMedia('(prefers-color-scheme: dark)').matches;
    root.dataset.theme = isDark ? 'light' : 'dark';
  }

  function listen() {
    element('lanes').addEventListener('click', click => {
      const order = click.target.dataset.order;
      if (order !== undefined) show(events[order]);
    });
    element('controls').addEventListener('submit', submit => submit.preventDefault());
    element('spacing').addEventListener('change', place);
    const actions = {
      'zoom-in': () => setZoom(zoom * 2), 'zoom-out': () => setZoom(zoom / 2), 'zoom-fit': () => setZoom(1),
      'theme': toggleTheme, 'previous': () => step(-1), 'next': () => step(1), 'dismiss': dismiss,
      'view-text': () => setView('text'), 'view-hex': () => setView('hex'),
    };
    for (const [id, action] of Object.entries(actions)) element(id).addEventListener('click', action);
    const keys = {'+': 'zoom-in', '-': 'zoom-out', '0': 'zoom-fit', 'ArrowLeft': 'previous',
                  'ArrowRight': 'next', 'Escape': 'dismiss'};
    addEventListener('keydown', press => {
      const id = keys[press.key];
      if (!id || press.target.tagName === 'SELECT' || press.ctrlKey || press.metaKey || press.altKey) return;
      if (press.key.startsWith('Arrow') && !chosen) return;
      press.preventDefault();
      actions[id]();
    });
    addEventListener('resize', drawAxis);
  }

  function showTotals() {
    const connections = [...lanes.values()].filter(lane => lane.number !== otherLane);
    const sum = name => connections.reduce((total, lane) => total + lane[name], 0);
    element('title').textContent = recording.title;
    document.title = 'Recording: ' + recording.title;
    element('totals').textContent = [
      plural(connections.length, 'connection'), plural(events.length, 'event'),
      bytesText(sum('sent')) + ' sent', bytesText(sum('received')) + ' received', timeText(timeRange === 1 ? 0 : timeRange),
    ].concat(recording.damaged ? [plural(recording.damaged, 'damaged line')] : []).join(' \u00b7 ');
  }

  readLanes();
  element('lanes').append(...[...lanes.values()].sort((a, b) => a.number - b.number).map(drawLane));
  fillChoice(element('process'), [...lanes.values()].flatMap(lane => [...processesOf(lane)])
      .filter(process => process !== undefined && process !== null), String);
  fillChoice(element('peer'), [...lanes.values()].map(lane => lane.begin.peer).filter(peer => peer !== null), String);
  showTotals();
  listen();
  place();
  filter();
})();
