// dygraphs, loaded with the first plot, so that the cards need not wait for it.

let library = null;

// dygraphs writes its labels as markup. With this policy, which the content security policy demands, no text
// can become markup, whoever writes it.
const ENTITIES = {'&': '&amp;', '<': '&lt;', '>': '&gt;', '"': '&quot;', "'": '&#39;'};

function forbidMarkup() {
  const createHTML = (text) => text.replace(/[&<>"']/g, (character) => ENTITIES[character]);
  globalThis.trustedTypes?.createPolicy('default', {createHTML});
}

export function loadLibrary() {
  if (library === null) forbidMarkup();
  library ??= import('./dygraphs/dygraph.min.js').then(() => {
    const {Dygraph} = globalThis;
    // Its legend writes style attributes, which the content security policy forbids.
    Dygraph.PLUGINS = Dygraph.PLUGINS.filter((plugin) => plugin !== Dygraph.Plugins.Legend);
    return Dygraph;
  });
  return library;
}
