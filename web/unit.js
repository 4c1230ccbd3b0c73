// The unit as a whole: its verdict in words, the number of disks of each verdict, and what is read out.

import {KeyedList, element, setAttribute, setHidden, setText} from './dom.js';
import {findings, knownVerdict, ORDER, phrase, titleText} from './verdict.js';

function linkTo(view, cards) {
  const link = element('a');
  const name = element('bdi');
  setText(name, view.name);
  link.href = `#${cards.idOf(view)}`;
  link.append(name);
  return link;
}

function isolated(text) {
  const part = element('bdi');
  setText(part, text);
  return part;
}

// "KS0240118842 in /mnt/flash, its own self-assessment failed"
function diskNodes(view, cards) {
  const where = view.mount === '' ? [] : [' in ', isolated(view.mount)];
  const why = phrase(view) === '' ? [] : [', ', isolated(phrase(view))];
  return [linkTo(view, cards), ...where, ...why];
}

function sentenceNodes(finding, cards) {
  const disks = finding.disks.flatMap((view, index) => [index > 0 ? '; ' : '', ...diskNodes(view, cards)]);
  return [finding.lead, ...disks, finding.more].filter((node) => node !== '');
}

// A sentence is short and is read as a whole, so it is written again when it differs.
function writeSentence(target, nodes) {
  const made = document.createDocumentFragment();
  made.append(...nodes);
  if (made.textContent !== target.textContent) target.replaceChildren(made);
}

function deviceNotes(state) {
  return Object.values(state.discovery?.unclassifiedDevices ?? {}).map((device) =>
    `${device.device} is not watched: ${device.attempt}: ${device.error}. ${device.remedy ?? ''}`);
}

export class Unit {
  #section = document.getElementById('unit');
  #headline = document.getElementById('headline');
  #announcer = document.getElementById('announcer');
  #cards;
  #counts;
  #findings;
  #said = new Map();

  constructor(cards) {
    this.#cards = cards;
    this.#counts = new KeyedList(document.getElementById('counts'), {
      key: ({verdict}) => verdict,
      create: () => this.#countMember(),
      update: (member, item) => this.#updateCount(member, item),
    });
    this.#findings = new KeyedList(document.getElementById('findings'), {
      create: () => ({root: element('li')}),
      update: ({root}, {verdict, nodes}) => {
        setAttribute(root, 'data-verdict', verdict);
        writeSentence(root, nodes);
      },
    });
  }

  update(state, views) {
    const found = findings(views, state.unit?.verdict);
    setAttribute(this.#section, 'data-verdict', knownVerdict(state.unit?.verdict ?? found[0]?.verdict));
    this.#updateSentences(state, found);
    this.#counts.update(ORDER.map((verdict) => ({verdict, views: views.filter((view) => view.verdict === verdict)}))
      .filter((item) => item.views.length > 0));
    this.#announce(views);
    const title = titleText(found, location.host);
    if (document.title !== title) document.title = title;
  }

  // The verdict is that of the last answer.
  stale() {
    document.title = `No answer – storage of ${location.host}`;
  }

  #updateSentences(state, found) {
    const first = found[0] ? sentenceNodes(found[0], this.#cards) : ['No disk is connected'];
    writeSentence(this.#headline, first);
    const rest = found.slice(1).map((each) => ({verdict: each.verdict, nodes: sentenceNodes(each, this.#cards)}));
    const notes = deviceNotes(state).map((note) => ({verdict: 'unknown', nodes: [isolated(note)]}));
    if (state.internalDevicesReady === false)
      notes.unshift({verdict: 'unknown', nodes: ['The disks are still being identified.']});
    this.#findings.update([...rest, ...notes]);
  }

  #countMember() {
    const root = element('li');
    const link = element('a');
    const number = element('span', 'number');
    const word = element('span');
    link.append(number, ' ', word);
    root.append(link);
    return {root, link, number, word};
  }

  #updateCount({root, link, number, word}, {verdict, views}) {
    setAttribute(root, 'data-verdict', verdict);
    setAttribute(link, 'href', `#${this.#cards.idOf(views[0])}`);
    setText(number, String(views.length));
    setText(word, verdict);
  }

  // Reads out the disks whose verdict or reasons differ; a figure that changes is no news.
  #announce(views) {
    const isFirst = this.#said.size === 0;
    const news = views.filter((view) => this.#said.get(view.key) !== saidOf(view));
    this.#said = new Map(views.map((view) => [view.key, saidOf(view)]));
    if (isFirst || news.length === 0) return;
    const more = news.length > 3 ? ` And ${news.length - 3} more disks have changed.` : '';
    setText(this.#announcer, news.slice(0, 3).map(newsText).join(' ') + more);
  }
}

function saidOf(view) {
  return [view.verdict, ...view.reasons.map((reason) => reason.code)].join(' ');
}

function newsText(view) {
  const why = phrase(view);
  return `${view.name}${view.mount ? ` in ${view.mount}` : ''} is now ${view.verdict}${why ? `: ${why}` : ''}.`;
}

// Whether the agent answers, and how it fares itself.
export class Liveness {
  #banner = document.getElementById('banner');
  #liveness = document.getElementById('liveness');
  #agent;

  constructor() {
    setText(document.getElementById('host'), location.host);
    this.#agent = new KeyedList(document.getElementById('agent'), {
      key: ([label]) => label,
      create: () => {
        const [root, label, value] = [element('div'), element('dt'), element('dd')];
        root.append(label, value);
        return {root, label, value};
      },
      update: ({label, value}, [name, text]) => {
        setText(label, name);
        setText(value, text);
      },
    });
  }

  alive(text) {
    setHidden(this.#banner, true);
    setText(this.#banner, '');
    setText(this.#liveness, text);
    setAttribute(document.documentElement, 'data-stale', null);
  }

  gone(text) {
    setText(this.#banner, text);
    setHidden(this.#banner, false);
    setText(this.#liveness, 'Not connected');
    setAttribute(document.documentElement, 'data-stale', '');
  }

  agent(facts) {
    this.#agent.update(facts);
  }
}
