// Questions to the agent. The addresses are relative, so that the page also works behind a proxy's path.

// An agent that has not answered by then is stalled.
const PATIENCE = 5000;  // milliseconds

export async function ask(path) {
  const answer = await fetch(`api/v1/${path}`, {signal: AbortSignal.timeout(PATIENCE), cache: 'no-store'});
  if (!answer.ok) throw new Error(`the agent answered ${answer.status}`);
  return answer.json();
}
