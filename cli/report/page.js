'use strict';
(() => {
  const run = JSON.parse(document.getElementById('run').textContent);
  const $ = (id) => document.getElementById(id);
  const SVG = 'http://www.w3.org/2000/svg';
  const ZONES = ['ZONE_ERROR', 'ZONE_INFO', 'ZONE_MODEM_INFO', 'ZONE_DETAIL', 'always', 'ZONE_FUNCTION', 'debugger', 'unknown'];
  const OTHERS = 'status and events';
  const USUAL = 'usual';
  const wide = matchMedia('(min-width: 40rem)').matches;
  const ROWS_AT_ONCE = wide ? 1000 : 10;

  /** An element with properties, attributes in `data-...` form and children; texts are always texts, never markup. */
  function make(name, properties = {}, ...children) {
    const element = document.createElement(name);
    for (const [key, value] of Object.entries(properties)) {
      if (key.includes('-')) element.setAttribute(key, value); else element[key] = value;
    }
    element.append(...children);
    return element;
  }
  function draw(parent, name, attributes, text) {
    const element = document.createElementNS(SVG, name);
    for (const [key, value] of Object.entries(attributes)) element.setAttribute(key, value);
    if (text !== undefined) element.textContent = text;
    parent.append(element);
    return element;
  }
  /** A path that may be broken after each backslash. */
  const path = (text) => make('span', {}, ...text.split(/(?<=\\)/).flatMap((part) => [part, make('wbr')]));
  const seconds = (ms) => (ms / 1000).toFixed(3);
  const plural = (count, word) => `${count} ${word}${count === 1 ? '' : 's'}`;
  const isMessage = (step) => step.kind === 'trace' || step.kind === 'debugger';
  const isError = (step) => step.failure === true;

  // --- what the run came to ---------------------------------------------------------------------------------------

  function fact(name, value, remark, style = '') {
    const content = make('dd', { className: style }, value);
    if (remark) content.append(make('small', {}, path(remark)));
    $('facts').append(make('div', {}, make('dt', {}, name), content));
  }

  function showFacts() {
    const { summary, trace } = run;
    const [outcome, mood] = outcomeOf(summary);
    document.title = `${summary.tablet || 'A tablet'}: ${outcome}`;
    $('tablet').textContent = summary.tablet || 'A run';
    if (trace) $('kicker').textContent = `A trace of Vantord: ${trace.start}`;
    $('outcome').replaceChildren(path(`${outcome[0].toUpperCase()}${outcome.slice(1)}.`));
    $('outcome').classList.add(mood);
    fact('Service', summary.end, trace ? summary.message : `${summary.message}; exit code ${summary.exit_code}`, summary.exit_code === 0 ? 'good' : 'bad');
    const styles = { deployed: summary.warnings.length ? 'bad' : 'good', failed: 'bad', 'not needed': '' };
    fact('Firmware', summary.deployment, [summary.reason, ...summary.warnings].join('; '), styles[summary.deployment]);
    const { all, failures, usual } = summary.messages;
    fact('Messages', String(all), `${plural(failures, 'failure')}; ${usual} usual ones in the error zone`, failures ? 'bad' : '');
    fact('Time on the tablet', `${seconds(run.end_ms)} s`, trace ? 'from the first message to the last' : `virtual; seed ${run.seed}`);
    for (const phase of summary.phases || []) fact(`Took: ${phase.name}`, phase.took_ms === null ? 'its end is missing' : `${seconds(phase.took_ms)} s`);
    $('made').textContent = `Made by ${run.program}.${trace ? '' : ' The same tablet with the same seed gives the same page.'}`;
  }

  /** A sentence for the title, and how it looks. */
  function outcomeOf(summary) {
    if (summary.exit_code !== 0) return [summary.failure || summary.message, 'bad'];
    if (summary.deployment === 'failed') return ['the deployment failed', 'bad'];
    if (summary.warnings.length) return [`the firmware was deployed, but ${summary.warnings.join('; ')}`, 'bad'];
    return [summary.deployed ? 'the firmware was deployed' : 'no deployment was needed', summary.deployed ? 'good' : 'plain'];
  }

  function fillTable(table, headings, rows) {
    table.className = 'wide';
    table.append(make('thead', {}, make('tr', {}, ...headings.map((name) => make('th', { scope: 'col' }, name)))));
    const body = make('tbody');
    for (const { cells, style = '' } of rows) {
      body.append(make('tr', { className: style }, ...cells.map((cell, i) => {
        const number = typeof cell === 'number';
        const content = number ? cell.toLocaleString('en') : cell;
        return make('td', { className: number ? 'number' : '', 'data-label': headings[i] }, content);
      })));
    }
    table.append(body);
    return table;
  }

  function showArchive() {
    const { archive, looked_up: lookUps, reason } = run.summary;
    const { choice } = run;
    const tried = (use) => (use.opened ? ` ${use.entries} of its entries tried, ${use.failures.length} failed.` : ' It could not be opened.');
    $('answer').append(...(archive
      ? [make('strong', {}, archive.path.split('\\').pop()), ', because ', path(choice.why), '.', tried(archive)]
      : [make('strong', {}, 'None'), ': ', path(reason), '.']));
    if (!archive && choice.archive) $('answer').append(make('small', {}, 'It would be ', path(choice.archive), ', because ', path(choice.why), '.'));
    const found = (source) => (!source.asked ? '\u2013' : source.found === null || source.error ? 'nothing' : path(source.found));
    fillTable($('sources'), ['Place', 'Found', 'Where', ''], choice.sources.map((source) => ({
      cells: [source.title, found(source), source.where ? path(source.where) : '', source.decided ? `decides${source.remark ? `; ${source.remark}` : ''}` : source.remark],
      style: source.decided ? 'decided' : source.asked ? '' : 'silent',
    })));
    $('sources').hidden = choice.sources.length === 0;
    fillTable($('lookups'), ['Looked up', 'Found', 'Where'], lookUps.map((look) => ({
      cells: [look.name, look.found === null ? 'not set' : path(look.found), look.where === 'registry' ? path(look.key) : 'firmware'],
    })));
    $('lookups').parentElement.hidden = lookUps.length === 0;
  }

  // --- the picture --------------------------------------------------------------------------------------------------

  const LANE_TITLE = 18, BAR = 20, TICKS = 16, LANE_GAP = 10, MARGIN = 8, AXIS = 22;
  const picture = $('picture');
  const view = { byTime: false, zoom: 1, cursor: -1, axis: null, width: 0, height: 0, line: null };

  /** Units from the left for each position in steps: a step is one unit, and time that passes widens the gap before it. */
  function makeAxis() {
    const times = run.steps.map((step) => step.t);
    const at = new Float64Array(times.length + 1);
    const gaps = [];
    let x = 0;
    for (let i = 0; i <= times.length; i += 1) {
      const passed = (i < times.length ? times[i] : run.end_ms) - (i === 0 ? 0 : times[i - 1]);
      if (passed > 0) {
        const size = view.byTime ? passed : 3 + 4 * Math.log10(passed + 1);
        gaps.push({ from: x, to: x + size, passed });
        x += size;
      }
      at[i] = x;
      if (!view.byTime) x += 1;
    }
    const total = Math.max(x, 1);
    const lookUp = (position) => {
      const low = Math.min(Math.floor(position), times.length);
      if (view.byTime || low === position || low >= times.length) return at[low];
      // A wait begins right after the step before it, not in the middle of the time that it lasts.
      return at[low] + (position - low);
    };
    return { lookUp, total, gaps };
  }

  /** The depth of each span within its track: those of a track nest. */
  function depthsOf(spans) {
    const open = [];
    return spans.map((span) => {
      while (open.length > 0 && open[open.length - 1] <= span.from) open.pop();
      open.push(span.to);
      return open.length - 1;
    });
  }

  const ROLES = {
    machine: 'the tablet and its user', main: 'the process', service: 'start and controls', radio: 'answers of the radio layer',
    'configuration manager': 'device news',
  };
  /** What a thread does: one that the service made is known by its function. */
  function roleOf(track) {
    const name = run.tracks[track];
    const own = run.steps.filter((step) => step.track === track && step.who);
    const first = own.find((step) => step.who.includes('Thread')) || own[0];
    const role = ROLES[name] || (first ? first.who.replace(/:[0-9]+$/, '') : '');
    return `thread: ${name}${role ? `, ${role}` : ''}`;
  }

  const STATUS_TEXT = { RUNNING: 'running-text', PAUSED: 'paused-text', STOPPED: 'stopped-text' };

  /** As much of a label as fits into a width. */
  function fitting(label, width) {
    const room = Math.floor((width - 8) / 6.7);
    if (room < 3) return '';
    return label.length <= room ? label : `${label.slice(0, room - 1)}\u2026`;
  }

  function drawSpan(svg, span, depth, top) {
    const x = view.px(span.from);
    const width = Math.max(view.px(span.to) - x, 1.5);
    const y = top + depth * BAR;
    const style = span.kind === 'status' ? `status ${span.name}` : span.kind + (depth % 2 ? ' odd' : '');
    const bar = draw(svg, 'rect', { x, y, width, height: BAR - 1, rx: 2, class: style });
    draw(bar, 'title', {}, span.detail || span.name);
    const label = fitting(span.kind === 'wait' ? `waits: ${span.name}` : span.name, width);
    const text = span.kind === 'status' ? STATUS_TEXT[span.name] || 'pending-text' : `${span.kind}-text`;
    if (label) draw(svg, 'text', { x: x + 4, y: y + 14, class: text }, label);
  }

  /** Messages as strokes, what comes from outside as diamonds, other events as dots; names where there is room. */
  function drawSteps(svg, track, y) {
    let strokes = '';
    let failures = '';
    let named = null;
    run.steps.forEach((step, i) => {
      if (step.track !== track || step.kind === 'call') return;
      const x = view.px(i);
      if (isMessage(step)) {
        if (isError(step)) failures += `M${x} ${y}v${TICKS - 4}`; else strokes += `M${x} ${y}v${TICKS - 4}`;
        return;
      }
      if (step.kind === 'status') return;
      const outside = step.kind === 'control';
      const mark = outside ? `M${x} ${y}l6 6l-6 6l-6 -6z` : `M${x - 4} ${y + 6}a4 4 0 1 0 8 0a4 4 0 1 0 -8 0`;
      draw(draw(svg, 'path', { d: mark, class: step.kind }), 'title', {}, step.text);
      // A name that the next mark would run into is taken back.
      if (named && x < named.to) named.text.remove();
      named = null;
      const to = x + 10 + step.text.length * 7;
      if (outside && to < view.width) named = { to, text: draw(svg, 'text', { x: x + 10, y: y + 11, class: 'control-text' }, step.text) };
    });
    if (strokes) draw(svg, 'path', { d: strokes, class: 'ticks' });
    if (failures) draw(svg, 'path', { d: failures, class: 'ticks error' });
  }

  function drawAxis(svg, bottom) {
    for (const gap of view.axis.gaps) {
      const x = MARGIN + gap.from * view.scale;
      const width = (gap.to - gap.from) * view.scale;
      if (!view.byTime) draw(svg, 'rect', { x, y: 0, width, height: bottom, class: 'gap' });
      const label = `${seconds(gap.passed)} s`;
      if (!view.byTime && width > label.length * 6.2 + 4) {
        draw(svg, 'text', { x: x + width / 2, y: bottom + 15, 'text-anchor': 'middle', class: 'gap-text' }, label);
      }
    }
    draw(svg, 'line', { x1: 0, x2: view.width, y1: bottom, y2: bottom, class: 'rule' });
    if (!view.byTime) return;
    const raw = run.end_ms / Math.max(2, view.width / 110);
    const unit = 10 ** Math.floor(Math.log10(Math.max(raw, 1)));
    const every = unit * [1, 2, 5, 10].find((factor) => unit * factor >= raw);
    for (let ms = 0; ms <= run.end_ms; ms += every) {
      const last = ms + every > run.end_ms && ms > 0;
      draw(svg, 'text', { x: MARGIN + ms * view.scale, y: bottom + 15, class: 'axis', 'text-anchor': last ? 'end' : 'start' }, `${ms / 1000} s`);
    }
  }

  function paint() {
    view.axis = makeAxis();
    const room = Math.max(picture.clientWidth, 280);
    view.width = Math.round(room * view.zoom);
    view.scale = (view.width - 2 * MARGIN) / view.axis.total;
    view.px = (position) => MARGIN + view.axis.lookUp(position) * view.scale;
    const svg = document.createElementNS(SVG, 'svg');
    const ground = draw(svg, 'g', {});
    const stripes = draw(draw(svg, 'defs', {}), 'pattern', { id: 'stripes', width: 8, height: 8, patternUnits: 'userSpaceOnUse', patternTransform: 'rotate(45)' });
    draw(stripes, 'rect', { width: 8, height: 8, class: 'stripe-ground' });
    draw(stripes, 'line', { x1: 0, x2: 0, y1: 0, y2: 8, class: 'stripe-line' });
    view.lanes = [];
    let y = 4;
    run.tracks.forEach((name, track) => {
      const spans = run.spans.filter((span) => span.track === track);
      const depths = depthsOf(spans);
      const rows = depths.length ? Math.max(...depths) + 1 : 0;
      const marks = run.steps.some((step) => step.track === track && step.kind !== 'status' && step.kind !== 'call');
      if (rows === 0 && !marks) return;
      draw(svg, 'text', { x: MARGIN, y: y + 13, class: 'lane' }, track === 0 ? name : roleOf(track));
      const top = y + LANE_TITLE;
      spans.forEach((span, i) => drawSpan(svg, span, depths[i], top));
      if (marks) drawSteps(svg, track, top + rows * BAR + 2);
      y = top + rows * BAR + (marks ? TICKS : 0);
      view.lanes.push({ track, to: y + LANE_GAP / 2 });
      y += LANE_GAP;
    });
    drawAxis(ground, y);
    view.height = y + AXIS;
    view.line = draw(svg, 'line', { y1: 0, y2: y, class: 'cursor', visibility: 'hidden' });
    for (const [key, value] of Object.entries({ width: view.width, height: view.height, viewBox: `0 0 ${view.width} ${view.height}`, role: 'img', 'aria-hidden': 'true' })) svg.setAttribute(key, value);
    svg.addEventListener('click', pickStep);
    picture.replaceChildren(svg);
    if (view.cursor >= 0) placeCursor();
  }

  function placeCursor() {
    const x = view.px(view.cursor);
    for (const [key, value] of Object.entries({ x1: x, x2: x, visibility: 'visible' })) view.line.setAttribute(key, value);
    const { scrollLeft, clientWidth } = picture;
    if (x < scrollLeft + 20 || x > scrollLeft + clientWidth - 20) picture.scrollLeft = x - clientWidth / 2;
  }

  function moveTo(index) {
    if (run.steps.length === 0) return;
    view.cursor = Math.max(0, Math.min(run.steps.length - 1, index));
    placeCursor();
    const step = run.steps[view.cursor];
    const within = run.spans.filter((span) => span.track === step.track && span.kind !== 'status' && span.from <= view.cursor && span.to >= view.cursor);
    const state = run.spans.find((span) => span.kind === 'status' && span.from <= view.cursor && span.to > view.cursor);
    $('here').replaceChildren(
      make('strong', {}, `${seconds(step.t)} s`), ` \u00b7 thread ${run.tracks[step.track]} \u00b7 status ${state ? state.name : 'none'} \u00b7 step ${view.cursor + 1} of ${run.steps.length}`,
      make('br'), make('span', { className: 'code' }, [step.who, step.text].filter(Boolean).join('  ')),
      within.length ? ` \u2014 in ${within.map((span) => span.name).join(' \u203a ')}` : '');
  }

  function pickStep(event) {
    const box = picture.querySelector('svg').getBoundingClientRect();
    const lane = view.lanes.find((one) => event.clientY - box.top <= one.to);
    const wanted = event.clientX - box.left;
    let best = -1;
    run.steps.forEach((step, i) => {
      const better = best < 0 || Math.abs(view.px(i) - wanted) < Math.abs(view.px(best) - wanted);
      if ((!lane || lane.track === 0 || lane.track === step.track) && better) best = i;
    });
    moveTo(best);
  }

  function setZoom(zoom) {
    const middle = (picture.scrollLeft + picture.clientWidth / 2) / view.width;
    view.zoom = Math.max(1, Math.min(64, zoom));
    paint();
    picture.scrollLeft = middle * view.width - picture.clientWidth / 2;
  }

  function setAxis(byTime) {
    view.byTime = byTime;
    $('by-time').setAttribute('aria-pressed', String(byTime));
    $('by-steps').setAttribute('aria-pressed', String(!byTime));
    paint();
  }

  const KEYS = {
    ArrowRight: () => moveTo(view.cursor + 1), ArrowLeft: () => moveTo(view.cursor - 1),
    PageDown: () => moveTo(view.cursor + 20), PageUp: () => moveTo(view.cursor - 20),
    Home: () => moveTo(0), End: () => moveTo(run.steps.length - 1),
    '+': () => setZoom(view.zoom * 2), '-': () => setZoom(view.zoom / 2), Enter: () => goToMessage(view.cursor),
  };

  // --- the messages ---------------------------------------------------------------------------------------------------

  const zoneOf = (step) => (step.usual ? USUAL : isMessage(step) ? step.zone : OTHERS);
  const chosen = new Set();
  let matching = [];

  function makeFilter() {
    const counts = new Map();
    run.steps.forEach((step) => {
      if (step.kind !== 'call') counts.set(zoneOf(step), (counts.get(zoneOf(step)) || 0) + 1);
    });
    for (const zone of [...ZONES, USUAL, OTHERS]) {
      if (!counts.has(zone)) continue;
      // Entries and exits are in the picture already; usual messages add nothing.
      const checked = zone !== 'ZONE_FUNCTION' && zone !== USUAL;
      if (checked) chosen.add(zone);
      const box = make('input', { type: 'checkbox', name: 'zone', value: zone, checked });
      box.addEventListener('change', () => { if (box.checked) chosen.add(zone); else chosen.delete(zone); showList(); });
      $('zones').append(make('label', {}, box, `${zone.replace('ZONE_', '').replace('_', ' ').toLowerCase()} (${counts.get(zone)})`));
    }
  }

  function rowOf(index) {
    const step = run.steps[index];
    const style = isError(step) ? 'error' : step.kind;
    const body = make('span', { className: 'body' });
    const known = run.meanings[step.who] !== undefined;
    if (step.who) body.append(known ? make('a', { className: 'who code', href: `#m-${step.who}` }, step.who) : make('span', { className: 'who code' }, step.who));
    body.append(make('span', { className: 'text' }, step.text));
    const zone = zoneOf(step) === OTHERS ? step.kind : zoneOf(step).replace('ZONE_', '').replace('_', ' ').toLowerCase();
    return make('li', { className: style, id: `step-${index}`, tabIndex: -1 },
      make('span', { className: 'time' }, seconds(step.t)), make('span', { className: 'thread' }, run.tracks[step.track]),
      make('span', { className: 'zone' }, zone === 'error' ? '\u26a0 error' : zone), body);
  }

  function showRows(upTo) {
    const shown = $('list').childElementCount;
    $('list').append(...matching.slice(shown, upTo).map(rowOf));
    $('more').hidden = upTo >= matching.length;
  }

  function showList() {
    const wanted = $('text').value.trim().toLowerCase();
    const holds = (step) => `${step.who || ''} ${step.text} ${run.tracks[step.track]}`.toLowerCase().includes(wanted);
    const listed = run.steps.filter((step) => step.kind !== 'call').length;
    matching = [];
    run.steps.forEach((step, i) => {
      if (step.kind !== 'call' && chosen.has(zoneOf(step)) && holds(step)) matching.push(i);
    });
    $('list').replaceChildren();
    showRows(ROWS_AT_ONCE);
    $('count').textContent = `${matching.length} of ${listed} shown`;
  }

  /** Shows the message, or the next one that the filter lets through. */
  function goToMessage(index) {
    const at = matching.findIndex((candidate) => candidate >= index);
    if (index < 0 || at < 0) return;
    if (at >= $('list').childElementCount) showRows(at + ROWS_AT_ONCE);
    $(`step-${matching[at]}`).focus();
  }

  /** Each message that came, and what it means; the links of the list lead here. */
  function showMeanings() {
    const entries = Object.entries(run.meanings);
    $('meanings').querySelector('summary').textContent = plural(entries.length, 'message');
    const list = $('meanings').querySelector('dl');
    for (const [who, text] of entries) list.append(make('dt', { id: `m-${who}`, className: 'code' }, who), make('dd', {}, text));
    $('list').addEventListener('click', (event) => { if (event.target.closest('a.who')) $('meanings').open = true; });
    document.querySelector('nav').addEventListener('click', (event) => { if (event.target.hash === '#meanings') $('meanings').open = true; });
  }

  function linkFirstFailure() {
    const first = run.steps.findIndex(isError);
    if (first < 0) return;
    $('first').hidden = false;
    $('first').addEventListener('click', (event) => { event.preventDefault(); goToMessage(first); });
  }

  // --- what has changed -------------------------------------------------------------------------------------------------

  function section(id, title, headings, rows, without) {
    const heading = make('h3', {}, rows.length ? `${title} (${rows.length})` : title);
    if (rows.length === 0) { $(id).append(heading, make('p', { className: 'none' }, without)); return; }
    const table = make('div', { className: 'scroll' }, fillTable(make('table'), headings, rows.map((cells) => ({ cells }))));
    $(id).append(make('details', { className: 'fold' }, make('summary', {}, heading), table));
  }

  /** A trace does not show them. */
  function hideChanges() {
    $('changes').hidden = true;
    $('to-changes').hidden = true;
  }

  function showChanges() {
    const { registry, firmware, files } = run.summary.changes;
    const code = (text) => (text === undefined ? '' : make('span', { className: 'code' }, path(text)));
    section('registry', 'Registry', ['Change', 'Key', 'Value', 'Before', 'After'],
      registry.map((one) => [one.change, path(one.key), one.value === '' ? '(default)' : one.value || '', code(one.before), code(one.after)]),
      'The registry is as it was.');
    section('firmware', 'Firmware variables', ['Variable', 'Before', 'After'],
      firmware.map((one) => [one.variable, one.before || 'not set', one.after || 'not set']), 'No variable has changed.');
    const place = (one) => (one.moved_from ? make('span', {}, path(one.path), make('br'), 'from ', path(one.moved_from)) : path(one.path));
    const what = (one) => (one.created ? 'new' : one.written ? 'written' : one.moved_from ? 'moved' : 'attributes');
    const letters = (text) => text || 'none';
    const attributes = ({ attributes_before: before, attributes_after: after }) =>
      (before === null || before === after ? letters(after) : `${letters(before)} → ${letters(after)}`);
    section('files', 'Files and folders', ['Change', 'Path', 'Bytes', 'Attributes'],
      files.map((one) => [what(one), place(one), one.folder ? 'folder' : one.created || one.written ? one.bytes : '', attributes(one)]),
      'No file has changed.');
  }

  // --- all together -----------------------------------------------------------------------------------------------------

  showFacts();
  showArchive();
  paint();
  makeFilter();
  showList();
  if (run.summary.changes) showChanges(); else hideChanges();
  showMeanings();
  linkFirstFailure();
  for (const fold of document.querySelectorAll('.fold')) fold.open = wide;
  $('here').textContent = `${plural(run.steps.length, 'step')} in ${seconds(run.end_ms)} s${run.trace ? '' : ' of virtual time'}.`;
  $('by-steps').addEventListener('click', () => setAxis(false));
  $('by-time').addEventListener('click', () => setAxis(true));
  $('zoom-in').addEventListener('click', () => setZoom(view.zoom * 2));
  $('zoom-out').addEventListener('click', () => setZoom(view.zoom / 2));
  $('zoom-fit').addEventListener('click', () => setZoom(1));
  $('text').addEventListener('input', showList);
  $('filter').addEventListener('submit', (event) => event.preventDefault());
  $('more').addEventListener('click', () => showRows($('list').childElementCount + ROWS_AT_ONCE));
  picture.addEventListener('keydown', (event) => {
    if (!KEYS[event.key] || event.ctrlKey || event.altKey || event.metaKey) return;
    event.preventDefault();
    KEYS[event.key]();
  });
  new ResizeObserver(() => { if (Math.abs(picture.clientWidth * view.zoom - view.width) > 2) paint(); }).observe(picture);
  document.documentElement.dataset.drawn = 'yes';
})();
