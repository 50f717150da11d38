// Makes the page from its data. The tree comes first; what is further down is made when the browser has time.

function start() {
  readStore();
  fillNotices();
  makeTree(content('objects'));
  startSearch();
  document.documentElement.dataset.ready = performance.now().toFixed(1);
  setTimeout(() => {
    const holders = findHolders();
    for (const fill of [fillPictures, fillArrays, fillClasses, fillSpace, fillSaves]) fill(holders);
    document.documentElement.dataset.complete = performance.now().toFixed(1);
  });
}

start();
