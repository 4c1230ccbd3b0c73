// Puts the page together: the state document to cards, the messages to their list.

import {Cards} from './cards.js';
import {MessageList} from './messages.js';
import {Liveness, Unit} from './unit.js';
import {MessageStream} from './stream.js';
import {StateSource} from './state.js';
import {clock, isNumber, whole, zone} from './format.js';
import {diskViews} from './disks.js';

const cards = new Cards(document.getElementById('cards'));
const unit = new Unit(cards);
const liveness = new Liveness();
const messages = new MessageList();

let lastAnswer = null;  // the agent's time of its last answer
let isGone = false;

const stream = new MessageStream({
  onMessages: (fresh) => messages.add(fresh),
  onCaughtUp: () => messages.live(),
  onRestart: () => messages.restarted(),
  onChange: () => source.changed(),
});
const source = new StateSource({onState, onFailure});

function agentFacts(state) {
  const {runs, failed, timedOut} = state.tools ?? {};
  const {received, dropped, overruns} = state.kernelLines ?? {};
  const facts = [['Version', state.version ?? ''], ['Times', zone()]];
  if (isNumber(runs))
    facts.push(['Tool runs', `${whole(runs)}, ${whole(failed)} failed, ${whole(timedOut)} timed out`]);
  if (isNumber(received))
    facts.push(['Kernel lines', `${whole(received)}, ${whole(dropped)} dropped, ${whole(overruns)} overruns`]);
  if (state.log?.linesDropped > 0) facts.push(['Log lines lost', whole(state.log.linesDropped)]);
  return facts;
}

function onState(state) {
  const views = diskViews(state);
  cards.update(views);
  unit.update(state, views);
  liveness.alive(`Live, as of ${clock(state.time)}`);
  liveness.agent(agentFacts(state));
  lastAnswer = state.time;
  // A stream of an agent that went away without a word would stay silent.
  if (isGone) stream.start();
  isGone = false;
}

function onFailure() {
  const since = isNumber(lastAnswer) ? ` The figures below are those of ${clock(lastAnswer)}.` : '';
  if (!isGone) liveness.gone(`The agent does not answer.${since}`);
  unit.stale();
  isGone = true;
}

// A hidden page leaves its connections to others: a browser has few for one server.
function start() {
  if (document.hidden) {
    source.stop();
    stream.stop();
  } else {
    source.start();
    stream.start();
  }
}

document.addEventListener('visibilitychange', start);
start();
